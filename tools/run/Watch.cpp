#include "run/Watch.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <ctime>
#include <system_error>

namespace zeqcam::tool {
namespace {

using Clock = std::chrono::steady_clock;
using Limit = Watch::Limit;

int check(int result, char const* what) {
    if (result < 0) throw std::system_error(errno, std::generic_category(), what);
    return result;
}

sigset_t endingSignals() {
    sigset_t signals{};
    sigemptyset(&signals);
    for (int const signal : {SIGHUP, SIGINT, SIGQUIT, SIGTERM}) {
        struct sigaction action {};
        sigaction(signal, nullptr, &action);
        if (action.sa_handler != SIG_IGN) sigaddset(&signals, signal);
    }
    return signals;
}

int openSignals() {
    sigset_t const signals = endingSignals();
    return check(signalfd(-1, &signals, SFD_CLOEXEC), "signalfd");
}

std::timespec timeLeft(std::chrono::duration<double> left) {
    auto const whole =
        std::chrono::duration_cast<std::chrono::nanoseconds>(std::max(left, left.zero())).count();
    constexpr std::int64_t kSecond = 1'000'000'000;
    return {.tv_sec = whole / kSecond, .tv_nsec = whole % kSecond};
}

// Whether something came before the time was over.
bool waitForAny(std::array<pollfd, 2>& sources, Limit limit) {
    auto const begin = Clock::now();
    for (;;) {
        std::timespec const left =
            timeLeft(limit ? *limit - (Clock::now() - begin) : Clock::duration::zero());
        int const came = ppoll(sources.data(), sources.size(), limit ? &left : nullptr, nullptr);
        if (came >= 0) return came > 0;
        if (errno != EINTR) check(came, "ppoll");
    }
}

}  // namespace

Watch::Watch() : mSignals(openSignals()), mDone(check(eventfd(0, EFD_CLOEXEC), "eventfd")) {
    sigset_t const signals = endingSignals();
    pthread_sigmask(SIG_BLOCK, &signals, &mOuterMask);
}

Watch::~Watch() {
    letSignalsThrough();
}

void Watch::allDone() {
    eventfd_write(mDone.get(), 1);
}

End Watch::wait(Limit limit) {
    End const end = waitForEnd(limit);
    letSignalsThrough();
    return end;
}

End Watch::waitForEnd(Limit limit) const {
    std::array<pollfd, 2> sources{{{mDone.get(), POLLIN, 0}, {mSignals.get(), POLLIN, 0}}};
    if (!waitForAny(sources, limit)) return End::TimedOut;
    return sources[0].revents != 0 ? End::AllDone : takeSignal();
}

bool Watch::waitForInput(int file) {
    std::array<pollfd, 2> sources{{{file, POLLIN, 0}, {mSignals.get(), POLLIN, 0}}};
    waitForAny(sources, {});
    if (sources[1].revents == 0) return true;
    static_cast<void>(takeSignal());
    letSignalsThrough();
    return false;
}

End Watch::takeSignal() const {
    signalfd_siginfo signal{};
    check(static_cast<int>(read(mSignals.get(), &signal, sizeof signal)), "signalfd");
    switch (signal.ssi_signo) {
        case SIGHUP:
            return End::HungUp;
        case SIGQUIT:
            return End::Quit;
        case SIGTERM:
            return End::Terminated;
        default:
            return End::Interrupted;
    }
}

void Watch::letSignalsThrough() const {
    pthread_sigmask(SIG_SETMASK, &mOuterMask, nullptr);
}

}  // namespace zeqcam::tool
