#include "devices/RestoreGuard.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <string_view>

namespace zeqcam::tool {
namespace {

[[noreturn]] void fail(char const* what) {
    throw std::system_error(errno, std::generic_category(), what);
}

// A device that is gone has nothing to be put back to.
void putBack(RestoreGuard::Kept const& kept) {
    try {
        kept.device->setPolicy(kept.policy);
    } catch (std::system_error const& error) {
        if (isGone(error.code())) return;
        std::string const line = "zeqcam-power: " + kept.name + ": not put back to \"" + kept.policy.control +
                                 "\": " + error.what() + '\n';
        static_cast<void>(write(STDERR_FILENO, line.data(), line.size()));
    }
}

// The other end of the pipe is held by the run alone: it closes with its last thread.
[[noreturn]] void waitAndPutBack(int pipe, std::vector<RestoreGuard::Kept> const& devices) {
    setsid();  // out of the reach of whoever ends the run's whole group; signals are blocked already
    prctl(PR_SET_NAME, "zeqcam-restore");
    close(STDIN_FILENO);
    close(STDOUT_FILENO);
    char none = 0;
    while (read(pipe, &none, 1) < 0 && errno == EINTR) {
    }
    for (RestoreGuard::Kept const& kept : devices) putBack(kept);
    _exit(0);
}

}  // namespace

RestoreGuard::RestoreGuard(std::vector<Kept> const& devices) {
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) < 0) fail("pipe");
    Descriptor const waits(ends[0]);
    mHeld.emplace(ends[1]);
    sigset_t all{};
    sigset_t before{};
    sigfillset(&all);
    sigprocmask(SIG_SETMASK, &all, &before);
    mProcess = fork();
    if (mProcess == 0) {
        mHeld.reset();
        waitAndPutBack(waits.get(), devices);
    }
    int const error = errno;
    sigprocmask(SIG_SETMASK, &before, nullptr);
    errno = error;
    if (mProcess < 0) fail("fork");
}

RestoreGuard::~RestoreGuard() {
    restore();
}

void RestoreGuard::restore() {
    if (!mHeld) return;
    mHeld.reset();
    while (waitpid(mProcess, nullptr, 0) < 0 && errno == EINTR) {
    }
}

}  // namespace zeqcam::tool
