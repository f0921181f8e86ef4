#include "files/OutputFile.h"

#include "files/DescriptorBuffer.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <system_error>
#include <utility>

namespace zeqcam::tool {
namespace {

constexpr mode_t kReadableByAll = 0666;  // less what the umask takes away
constexpr mode_t kPermissions = 07777;

std::string cannotBeWritten(std::string const& path, int error) {
    return path + ": cannot be written: " + std::strerror(error);
}

// A file of a name of its own, which goes unless it takes another's place.
class FileBeside {
  public:
    explicit FileBeside(std::string const& path) {
        auto const folder = std::filesystem::path(path).parent_path();
        for (int number = 0; number == 0 || errno == EEXIST; ++number) {
            mPath = folder / (".zeqcam-power-" + std::to_string(getpid()) + '-' + std::to_string(number));
            mFile.emplace(open(mPath.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, kReadableByAll));
            if (mFile->get() >= 0) return;
        }
        mPath.clear();
    }
    ~FileBeside() {
        if (!mPath.empty()) unlink(mPath.c_str());
    }
    FileBeside(FileBeside const&) = delete;
    FileBeside& operator=(FileBeside const&) = delete;

    // Negative, with errno, where there is none.
    [[nodiscard]] int get() const { return mFile->get(); }

    bool takePlaceOf(std::string const& path, std::optional<mode_t> mode) {
        if (mode && fchmod(get(), *mode) != 0) return false;
        if (std::rename(mPath.c_str(), path.c_str()) != 0) return false;
        mPath.clear();
        return true;
    }

  private:
    std::string mPath;
    std::optional<Descriptor> mFile;
};

// Whatever would end the process waits.
class SignalsWait {
  public:
    SignalsWait() {
        sigset_t signals{};
        sigemptyset(&signals);
        for (int const signal : {SIGHUP, SIGINT, SIGQUIT, SIGTERM}) sigaddset(&signals, signal);
        pthread_sigmask(SIG_BLOCK, &signals, &mBefore);
    }
    ~SignalsWait() { pthread_sigmask(SIG_SETMASK, &mBefore, nullptr); }
    SignalsWait(SignalsWait const&) = delete;
    SignalsWait& operator=(SignalsWait const&) = delete;

  private:
    sigset_t mBefore{};
};

// The error, or 0.
int fillFile(int file, std::function<void(std::ostream&)> const& fill) {
    DescriptorBuffer buffer(file);
    std::ostream out(&buffer);
    fill(out);
    out.flush();
    return buffer.error();
}

}  // namespace

OutputFile::OutputFile(std::string path) : mGiven(std::move(path)) {
    std::error_code error;
    mPath = std::filesystem::weakly_canonical(std::filesystem::absolute(mGiven), error);
    if (error) throw CannotOpen(cannotBeWritten(mGiven, error.value()));
    struct stat status {};
    bool const isThere = stat(mGiven.c_str(), &status) == 0;
    if (mGiven.ends_with('/') || (isThere && S_ISDIR(status.st_mode)))
        throw CannotOpen(cannotBeWritten(mGiven, EISDIR));
    if (isThere && !S_ISREG(status.st_mode)) {
        mDevice.emplace(open(mGiven.c_str(), O_WRONLY | O_CLOEXEC));
        if (mDevice->get() < 0) throw CannotOpen(cannotBeWritten(mGiven, errno));
        return;
    }
    if (isThere) mMode = status.st_mode & kPermissions;
    SignalsWait const wait;
    if ((isThere && access(mPath.c_str(), W_OK) != 0) || FileBeside(mPath).get() < 0)
        throw CannotOpen(cannotBeWritten(mGiven, errno));
}

void OutputFile::write(std::function<void(std::ostream&)> const& fill) {
    int error = 0;
    if (mDevice) {
        error = fillFile(mDevice->get(), fill);
    } else {
        SignalsWait const wait;
        FileBeside file(mPath);
        error = file.get() < 0 ? errno : fillFile(file.get(), fill);
        if (error == 0 && !file.takePlaceOf(mPath, mMode)) error = errno;
    }
    if (error != 0) throw std::runtime_error(cannotBeWritten(mGiven, error));
}

bool isOpenAs(std::string const& path, int descriptor) {
    struct stat file {};
    struct stat open {};
    if (stat(path.c_str(), &file) != 0 || fstat(descriptor, &open) != 0) return false;
    bool const swallows = S_ISCHR(open.st_mode) && isatty(descriptor) == 0;
    return file.st_dev == open.st_dev && file.st_ino == open.st_ino && !swallows;
}

}  // namespace zeqcam::tool
