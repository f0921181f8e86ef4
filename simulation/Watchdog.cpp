#include "Watchdog.h"

#include "Libc.h"
#include "Scheduler.h"
#include "Stacks.h"

#include <signal.h>
#include <sys/syscall.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <string>

namespace zeqcam::simulation {
namespace {

struct Call {
    long number;
    char const* name;
};

// Those that a program is likely to wait in.
constexpr Call kCalls[] = {
    {SYS_read, "read"},
    {SYS_readv, "readv"},
    {SYS_pread64, "pread"},
    {SYS_write, "write"},
    {SYS_writev, "writev"},
    {SYS_openat, "openat"},
    {SYS_ppoll, "ppoll"},
    {SYS_pselect6, "pselect"},
    {SYS_epoll_pwait, "epoll_pwait"},
#ifdef SYS_poll
    {SYS_poll, "poll"},
    {SYS_select, "select"},
    {SYS_epoll_wait, "epoll_wait"},
    {SYS_pause, "pause"},
#endif
    {SYS_accept, "accept"},
    {SYS_accept4, "accept4"},
    {SYS_connect, "connect"},
    {SYS_recvfrom, "recvfrom"},
    {SYS_recvmsg, "recvmsg"},
    {SYS_sendto, "sendto"},
    {SYS_sendmsg, "sendmsg"},
    {SYS_wait4, "wait4"},
    {SYS_waitid, "waitid"},
    {SYS_flock, "flock"},
    {SYS_fcntl, "fcntl"},
    {SYS_ioctl, "ioctl"},
    {SYS_msgrcv, "msgrcv"},
    {SYS_semop, "semop"},
    {SYS_futex, "futex"},
    {SYS_nanosleep, "nanosleep"},
    {SYS_clock_nanosleep, "clock_nanosleep"},
    {SYS_rt_sigtimedwait, "sigtimedwait"},
    {SYS_rt_sigsuspend, "sigsuspend"},
};

// Empty while it runs.
std::string callOf(int thread) {
    std::ifstream file("/proc/self/task/" + std::to_string(thread) + "/syscall");
    std::string number;
    if (!(file >> number) || number == "running") return {};
    long const wanted = std::atol(number.c_str());
    if (wanted < 0) return {};
    auto const* const found = std::find_if(std::begin(kCalls), std::end(kCalls),
                                           [wanted](Call const& call) { return call.number == wanted; });
    return found != std::end(kCalls) ? found->name : "system call " + number;
}

// Interrupts no call of the thread's for good: it is there to take the stack.
int const kShow = SIGRTMIN + 13;

void onShow(int) {
    if (Thread* const thread = self()) {
        takeStack(*thread);
        thread->shows.store(2);
        wakeOnWord(&thread->shows);
    }
}

timespec timespecOf(std::chrono::milliseconds time) {
    return {.tv_sec = time.count() / 1000, .tv_nsec = time.count() % 1000 * 1'000'000};
}

}  // namespace

void Watchdog::watchUntil(std::atomic<int> const& done) {
    timespec const pause = timespecOf(mScheduler.limits().patience);
    constexpr int kPausesToCompute = 10;
    Scheduler::Turn seen = mScheduler.turn();
    int pauses = 0;
    for (int state = 0; (state = done.load()) != 1;) {
        if (waitOnWord(&done, state, &pause)) continue;
        Scheduler::Turn const now = mScheduler.turn();
        if (now.points != seen.points || now.thread != seen.thread) {
            seen = now;
            pauses = 0;
            continue;
        }
        ++pauses;
        std::string const call = callOf(now.thread);
        if (!call.empty()) {
            report(now.thread, "waits in " + call + ", which the simulation does not know");
        } else if (pauses >= kPausesToCompute) {
            report(now.thread, "computes and comes to no point");
        }
    }
}

void Watchdog::report(int thread, std::string const& what) {
    struct sigaction show {};
    show.sa_handler = onShow;
    show.sa_flags = SA_RESTART;
    struct sigaction before {};
    sigaction(kShow, &show, &before);
    Thread& current = *mScheduler.current();
    current.shows.store(1);
    libc().syscall(SYS_tgkill, libc().getpid(), thread, kShow);
    timespec const patience = timespecOf(std::chrono::milliseconds(1000));
    if (current.shows.load() == 1) waitOnWord(&current.shows, 1, &patience);
    sigaction(kShow, &before, nullptr);
    mScheduler.giveUp(Ending::Blocked, "thread " + std::to_string(current.number) + " (" + nameOf(current) +
                                           ") " + what + '\n' + sectionsOf(current) + stackOf(current));
}

}  // namespace zeqcam::simulation
