#include "files/OutputFile.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <utility>

namespace zeqcam::tool {
namespace {

constexpr mode_t kReadableByAll = 0666;  // less what the umask takes away

bool isRegular(int file) {
    struct stat status {};
    return fstat(file, &status) == 0 && S_ISREG(status.st_mode);
}

bool writeAll(int file, std::string_view text) {
    // A pipe or a device has nothing to replace.
    if (isRegular(file) && ftruncate(file, 0) != 0) return false;
    while (!text.empty()) {
        ssize_t const written = ::write(file, text.data(), text.size());
        if (written < 0 && errno == EINTR) continue;
        if (written < 0) return false;
        text.remove_prefix(static_cast<std::size_t>(written));
    }
    return true;
}

}  // namespace

OutputFile::OutputFile(std::string path)
    : mPath(std::move(path)), mFile(open(mPath.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, kReadableByAll)) {
    if (mFile.get() < 0) throw CannotOpen(mPath + ": cannot be written: " + std::strerror(errno));
}

void OutputFile::write(std::string_view text) {
    if (!writeAll(mFile.get(), text)) {
        throw std::runtime_error(mPath + ": cannot be written: " + std::strerror(errno));
    }
}

}  // namespace zeqcam::tool
