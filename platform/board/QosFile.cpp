#include "Device.h"

#include <zeqcam/ThreadSafety.h>
#include <zeqcam/board/QosFile.h>

#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <mutex>
#include <system_error>
#include <utility>

namespace zeqcam::board {
namespace {

namespace fs = std::filesystem;

constexpr char const* kFolder = "/sys/rsc/qos";
constexpr char const* kPath = "/sys/rsc/qos/set_task_qos";
constexpr char const* kPathAside = "/sys/rsc/qos/.set_task_qos";
constexpr char const* kBallast = "/sys/rsc/qos/.ballast";
constexpr off_t kOnePage = 4096;
constexpr char const* kRoomToWrite = "size=64m";
constexpr char const* kRoomForBallast = "size=4k";
constexpr unsigned long kMountFlags = MS_NOSUID | MS_NODEV | MS_NOEXEC;

std::mutex gLock;
bool gProvided ZEQCAM_GUARDED_BY(gLock) = false;
QosFile::Is gIs ZEQCAM_GUARDED_BY(gLock) = QosFile::Is::Writable;
int gFile ZEQCAM_GUARDED_BY(gLock) = -1;      // open for reading as long as the process
std::string gTaken ZEQCAM_GUARDED_BY(gLock);  // what was moved out of the file since it was last set
std::vector<std::string> gLines ZEQCAM_GUARDED_BY(gLock);  // its lines, not yet asked for

int check(int result, char const* what) {
    if (result < 0) throw std::system_error(errno, std::generic_category(), what);
    return result;
}

class Descriptor {
  public:
    Descriptor(int descriptor, char const* what) : mDescriptor(check(descriptor, what)) {}
    ~Descriptor() { close(mDescriptor); }
    Descriptor(Descriptor const&) = delete;
    Descriptor& operator=(Descriptor const&) = delete;
    operator int() const { return mDescriptor; }

  private:
    int const mDescriptor;
};

void writeWhole(char const* path, std::string const& text) {
    Descriptor const file(open(path, O_WRONLY | O_CLOEXEC), path);
    check(static_cast<int>(write(file, text.data(), text.size())), path);
}

// In a user namespace the process stays who it is, but may no longer raise its priority: only where it must
// be.
void enterMountNamespace() {
    if (unshare(CLONE_NEWNS) == 0) return;
    std::string const user = std::to_string(geteuid());
    std::string const group = std::to_string(getegid());
    check(unshare(CLONE_NEWUSER | CLONE_NEWNS),
          "entering a namespace, which needs a process without threads");
    writeWhole("/proc/self/setgroups", "deny");
    writeWhole("/proc/self/uid_map", user + " " + user + " 1");
    writeWhole("/proc/self/gid_map", group + " " + group + " 1");
}

// Shows an entry of the covered folder at its old path.
void showAgain(fs::path const& covered, fs::path const& path) {
    if (fs::is_symlink(fs::symlink_status(covered))) return fs::copy_symlink(covered, path);
    if (fs::is_directory(covered)) {
        fs::create_directory(path);
    } else {
        Descriptor const file(open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644), path.c_str());
    }
    check(mount(covered.c_str(), path.c_str(), nullptr, MS_BIND | MS_REC, nullptr), path.c_str());
}

void setRoom(char const* size) {
    check(mount("qos", kFolder, nullptr, MS_REMOUNT | kMountFlags, size), "resizing the QoS folder");
}

// The kernel lets nobody make a file in /sys. So a folder of memory covers it, the old entries show through,
// and the QoS file has a folder of its own, whose room can be taken away.
void provideFile() {
    enterMountNamespace();
    check(mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr), "making the mounts private");
    Descriptor const old(open("/sys", O_PATH | O_DIRECTORY | O_CLOEXEC), "/sys");
    check(mount("sys", "/sys", "tmpfs", kMountFlags, "mode=0755"), "covering /sys");
    for (auto const& entry : fs::directory_iterator("/proc/self/fd/" + std::to_string(old))) {
        showAgain(entry.path(), "/sys" / entry.path().filename());
    }
    fs::create_directories(kFolder);
    check(mount("qos", kFolder, "tmpfs", kMountFlags, "mode=0755"), kFolder);
    setRoom(kRoomToWrite);
    Descriptor const file(open(kPath, O_WRONLY | O_CREAT | O_CLOEXEC, 0644), kPath);
}

std::string reasonAgainstProviding() {
    try {
        provideFile();
        return {};
    } catch (std::exception const& refusal) {
        return refusal.what();
    }
}

// A child process tries first: what is refused half-way leaves this process and its /sys as they were.
std::string rehearse() {
    std::array<int, 2> ends{};
    check(pipe2(ends.data(), O_CLOEXEC), "pipe");
    Descriptor const reading(ends[0], "pipe");
    pid_t child = -1;
    {
        Descriptor const writing(ends[1], "pipe");
        child = check(fork(), "fork");
        if (child == 0) {
            std::string const reason = reasonAgainstProviding();
            bool const told = write(writing, reason.data(), reason.size()) == std::ssize(reason);
            _exit(told ? 0 : 1);
        }
    }
    std::string reason;
    std::array<char, 512> piece{};
    for (ssize_t got = 0; (got = read(reading, piece.data(), piece.size())) > 0;) {
        reason.append(piece.data(), static_cast<std::size_t>(got));
    }
    int status = 0;
    check(waitpid(child, &status, 0), "waitpid");
    if (status != 0 && reason.empty()) reason = "the attempt ended without a reason";
    return reason;
}

struct Written {
    off_t at = 0;
    std::string text;
};

// What stands in the file behind the bytes that were moved out of it or never written.
Written written() ZEQCAM_REQUIRES(gLock) {
    Written found{.at = lseek(gFile, 0, SEEK_DATA)};
    if (found.at < 0) return {};
    std::array<char, 4096> piece{};
    for (off_t end = found.at;;) {
        ssize_t const got = pread(gFile, piece.data(), piece.size(), end);
        if (got <= 0) break;
        found.text.append(piece.data(), static_cast<std::size_t>(got));
        end += got;
    }
    std::size_t const zeros = std::min(found.text.find_first_not_of('\0'), found.text.size());
    found.text.erase(0, zeros);
    found.at += static_cast<off_t>(zeros);
    return found;
}

// Moves the ended lines out of the file and leaves a hole in their place: a writer that has the file open
// goes on behind it, one that opens it anew overwrites nothing that is still to be read.
void gather() ZEQCAM_REQUIRES(gLock) {
    Written found = written();
    found.text.resize(found.text.rfind('\0') + 1);
    if (found.text.empty()) return;
    off_t const end = found.at + static_cast<off_t>(found.text.size());
    check(fallocate(gFile, FALLOC_FL_PUNCH_HOLE | FALLOC_FL_KEEP_SIZE, 0, end), "emptying the QoS file");
    gTaken += found.text;
    for (std::size_t begin = 0; begin < found.text.size();) {
        std::size_t const zero = found.text.find('\0', begin);
        if (zero > begin) gLines.push_back(found.text.substr(begin, zero - begin));
        begin = zero + 1;
    }
}

void makeWritableAgain() ZEQCAM_REQUIRES(gLock) {
    switch (gIs) {
        case QosFile::Is::Writable:
            break;
        case QosFile::Is::Missing:
            check(rename(kPathAside, kPath), kPath);
            break;
        case QosFile::Is::ReadOnly:
            check(umount2(kPath, MNT_DETACH), kPath);
            break;
        case QosFile::Is::Full:
            check(unlink(kBallast), kBallast);
            setRoom(kRoomToWrite);
            break;
    }
    gIs = QosFile::Is::Writable;
}

void make(QosFile::Is is) ZEQCAM_REQUIRES(gLock) {
    switch (is) {
        case QosFile::Is::Writable:
            break;
        case QosFile::Is::Missing:
            check(rename(kPath, kPathAside), kPath);
            break;
        case QosFile::Is::ReadOnly:
            check(mount(kPath, kPath, nullptr, MS_BIND, nullptr), kPath);
            check(mount(nullptr, kPath, nullptr, MS_REMOUNT | MS_BIND | MS_RDONLY | kMountFlags, nullptr),
                  kPath);
            break;
        case QosFile::Is::Full: {
            // The file was emptied: every byte written to it needs a page, and the ballast has the last one.
            setRoom(kRoomForBallast);
            Descriptor const ballast(open(kBallast, O_WRONLY | O_CREAT | O_CLOEXEC, 0600), kBallast);
            check(fallocate(ballast, 0, 0, kOnePage), kBallast);
            break;
        }
    }
    gIs = is;
}

}  // namespace

std::string QosFile::provide() {
    InBoard const inside;
    std::lock_guard const hold(gLock);
    if (gProvided) return {};
    try {
        if (fs::exists(kPath)) return "the kernel has a task QoS file of its own";
        std::string reason = rehearse();
        if (!reason.empty()) return reason;
        provideFile();
        gFile = check(open(kPath, O_RDWR | O_CLOEXEC), kPath);
    } catch (std::exception const& refusal) {
        return refusal.what();
    }
    gProvided = true;
    return {};
}

bool QosFile::provided() {
    std::lock_guard const hold(gLock);
    return gProvided;
}

void QosFile::set(Is is) {
    InBoard const inside;
    std::lock_guard const hold(gLock);
    if (!gProvided) return;
    makeWritableAgain();
    gather();
    check(ftruncate(gFile, 0), kPath);
    gTaken.clear();
    make(is);
}

std::vector<std::string> QosFile::takeLines() {
    InBoard const inside;
    std::lock_guard const hold(gLock);
    if (gProvided) gather();
    return std::exchange(gLines, {});
}

std::string QosFile::bytes() {
    InBoard const inside;
    std::lock_guard const hold(gLock);
    return gProvided ? gTaken + written().text : std::string();
}

}  // namespace zeqcam::board
