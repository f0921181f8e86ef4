#include "Worker.h"

#include "Heap.h"
#include "Libc.h"

#include <fcntl.h>
#include <malloc.h>
#include <signal.h>
#include <string.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <exception>
#include <stdexcept>
#include <system_error>

namespace zeqcam::simulation {
namespace {

[[noreturn]] void refuse(char const* what) {
    throw std::system_error(errno, std::generic_category(), what);
}

void stayOn(int cpu) {
    if (cpu < 0) return;
    cpu_set_t set;
    CPU_ZERO(&set);
    CPU_SET(static_cast<std::size_t>(cpu), &set);
    libc().sched_setaffinity(0, sizeof set, &set);
}

std::string howItEnded(int status) {
    if (WIFSIGNALED(status)) {
        int const signal = WTERMSIG(status);
        return "the process ended by signal " + std::to_string(signal) + " (" + sigdescr_np(signal) + ')';
    }
    return "the process exited with status " + std::to_string(WEXITSTATUS(status));
}

// The kernel's calls themselves: what other libraries do in their place may be done once in a process, and
// then every schedule but the first would find it done.
bool readByte(int descriptor) {
    char byte = 0;
    long got = 0;
    while ((got = libc().syscall(SYS_read, descriptor, &byte, 1)) < 0 && errno == EINTR) {
    }
    return got == 1;
}
bool writeByte(int descriptor) {
    return libc().syscall(SYS_write, descriptor, "", 1) == 1;
}
void closeDescriptor(int descriptor) {
    libc().syscall(SYS_close, descriptor);
}

}  // namespace

bool Contested::add(std::span<void const* const> more) {
    for (void const* const address : more) {
        auto const known = addresses.begin() + static_cast<std::ptrdiff_t>(count);
        auto const place = std::lower_bound(addresses.begin(), known, address);
        if (place != known && *place == address) continue;
        if (count == kMost) return false;
        std::copy_backward(place, known, known + 1);
        *place = address;
        ++count;
    }
    return true;
}

void Worker::start(int cpu) {
    int requests[2] = {-1, -1};
    int replies[2] = {-1, -1};
    if (pipe2(requests, O_CLOEXEC) != 0) refuse("pipe");
    bool const both = pipe2(replies, O_CLOEXEC) == 0;
    if (both) mProcess = fork();
    if (both && mProcess == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        closeDescriptor(requests[1]);
        closeDescriptor(replies[0]);
        stayOn(cpu);
        serve(requests[0], replies[1]);
    }
    int const error = errno;
    mRequests = requests[1];
    mEnd = replies[0];
    closeDescriptor(requests[0]);
    closeDescriptor(replies[1]);
    errno = error;
    if (mProcess < 0) refuse("no process for schedules");
}

Worker::~Worker() {
    if (mProcess > 0) {
        kill(mProcess, SIGKILL);
        while (waitpid(mProcess, nullptr, 0) < 0 && errno == EINTR) {
        }
    }
    closeDescriptor(mRequests);
    closeDescriptor(mEnd);
}

void Worker::begin(GivenTurns const& turns, bool reduces) {
    if (turns.size() > Desk::kMostTurns) throw std::length_error("a schedule has too many turns");
    mDesk->reduces = reduces;
    mDesk->isSeeded = false;
    mDesk->turnCount = turns.size();
    std::copy(turns.begin(), turns.end(), mDesk->turns.begin());
    if (!writeByte(mRequests)) refuse("a process for schedules has gone");
}

void Worker::begin(Seed seed) {
    mDesk->reduces = true;
    mDesk->isSeeded = true;
    mDesk->seed = seed;
    if (!writeByte(mRequests)) refuse("a process for schedules has gone");
}

Trail const& Worker::await() {
    if (!readByte(mEnd)) throw std::runtime_error("a process for schedules has gone");
    return mDesk->trail;
}

void Worker::serve(int requests, int replies) {
    mallopt(M_ARENA_MAX, 1);  // one heap for all threads is the fastest to make and to take down
    while (readByte(requests)) {
        mDesk->trail.clear();
        pid_t const process = fork();
        if (process == 0) run();
        int status = 0;
        if (process < 0) {
            mDesk->trail.keep({.ending = Ending::Failed, .report = "no process for a schedule"});
        } else {
            while (waitpid(process, &status, 0) < 0 && errno == EINTR) {
            }
        }
        if (process > 0 && !mDesk->trail.isDone) {
            mDesk->trail.keep({.ending = Ending::Failed, .report = howItEnded(status)});
        }
        if (!writeByte(replies)) break;
    }
    _exit(0);
}

void Worker::run() {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    keepMemory();
    Trail& trail = mDesk->trail;
    auto const turns = std::span(mDesk->turns).first(mDesk->turnCount);
    Order order(mContested.all());
    Order* const watches = mDesk->reduces ? &order : nullptr;
    TrailChoice given(GivenTurns(turns.begin(), turns.end()), watches, trail);
    // Few switches: memory, and so what is contested, then stands where the schedules of the search have it.
    constexpr std::uint64_t kPointsToASwitch = 200;
    SeededChoice seeded(mDesk->seed, kPointsToASwitch);
    Choice& choice = mDesk->isSeeded ? static_cast<Choice&>(seeded) : given;
    try {
        Scheduler scheduler(mLimits, choice, watches);
        scheduler.run(mBody);
        trail.addContested(order.newlyContested());
        trail.isUsedUp = choice.isUsedUp();
        trail.keep(scheduler.result());
        std::fflush(nullptr);
        _exit(0);
    } catch (std::exception const& refusal) {
        trail.keep({.ending = Ending::Failed, .report = refusal.what()});
        _exit(0);
    }
}

}  // namespace zeqcam::simulation
