// Condition variables, semaphores and futexes, in the C library's place. Who waits stands with the scheduler
// alone: a wake-up takes the longest-waiting thread, and nobody wakes without one.
#include "Libc.h"
#include "Turn.h"

#include <linux/futex.h>
#include <sys/syscall.h>

#include <cerrno>
#include <climits>
#include <cstdarg>

namespace zeqcam::simulation {
namespace {

constexpr char const* kCondition = "condition variable";
constexpr char const* kSemaphore = "semaphore";
constexpr char const* kFutex = "word";

int waitFor(pthread_cond_t* condition, pthread_mutex_t* mutex, Time deadline) {
    Scheduler& turn = *scheduler();
    turn.reach({.what = kCondition, .object = condition, .lock = mutex});
    int const error = libc().pthread_mutex_unlock(mutex);
    if (error != 0) return error;
    turn.released(mutex);
    Step const wait{.what = kCondition,
                    .object = condition,
                    .until = Until::WokenFree,
                    .lock = mutex,
                    .deadline = deadline};
    bool const woken = turn.await(wait);
    for (int attempts = 0; libc().pthread_mutex_trylock(mutex) == EBUSY;) awaitOutside(wait, attempts);
    turn.acquired(mutex);
    return woken ? 0 : ETIMEDOUT;
}

int wakeUp(pthread_cond_t* condition, int count) {
    scheduler()->reach({.what = kCondition, .object = condition});
    scheduler()->wake(condition, count);
    return 0;
}

int waitFor(sem_t* semaphore, Time deadline) {
    Scheduler& turn = *scheduler();
    turn.reach({.what = kSemaphore, .object = semaphore});
    while (libc().sem_trywait(semaphore) != 0) {
        if (errno != EAGAIN) return -1;
        if (!turn.await(
                {.what = kSemaphore, .object = semaphore, .until = Until::Woken, .deadline = deadline})) {
            errno = ETIMEDOUT;
            return -1;
        }
    }
    return 0;
}

long waitOn(std::uint32_t const* word, std::uint32_t value, std::uint32_t bits, Time deadline) {
    Scheduler& turn = *scheduler();
    turn.reach({.what = kFutex, .object = word});
    if (__atomic_load_n(word, __ATOMIC_SEQ_CST) != value) {
        errno = EAGAIN;
        return -1;
    }
    self()->bits = bits;
    if (turn.await({.what = kFutex, .object = word, .until = Until::Woken, .deadline = deadline})) return 0;
    errno = ETIMEDOUT;
    return -1;
}

long wakeOn(std::uint32_t const* word, int count, std::uint32_t bits) {
    scheduler()->reach({.what = kFutex, .object = word});
    return scheduler()->wake(word, count, [bits](Thread const& thread) { return (thread.bits & bits) != 0; });
}

struct Arguments {
    long values[6];
};

// Whether the call is one that the simulation knows.
bool futex(Arguments const& arguments, long& result) {
    auto const* const word = reinterpret_cast<std::uint32_t const*>(arguments.values[0]);
    auto const operation = static_cast<int>(arguments.values[1]);
    auto const value = static_cast<std::uint32_t>(arguments.values[2]);
    auto const* const time = reinterpret_cast<timespec const*>(arguments.values[3]);
    auto const bits = static_cast<std::uint32_t>(arguments.values[5]);
    switch (operation & FUTEX_CMD_MASK) {
        case FUTEX_WAIT: {
            Time const deadline = time != nullptr ? after(scheduler()->now(), durationOf(*time)) : kNever;
            result = waitOn(word, value, FUTEX_BITSET_MATCH_ANY, deadline);
            return true;
        }
        case FUTEX_WAIT_BITSET: {
            clockid_t const clock =
                (operation & FUTEX_CLOCK_REALTIME) != 0 ? CLOCK_REALTIME : CLOCK_MONOTONIC;
            result = waitOn(word, value, bits, deadlineOf(clock, time));
            return true;
        }
        case FUTEX_WAKE:
            result = wakeOn(word, static_cast<int>(value), FUTEX_BITSET_MATCH_ANY);
            return true;
        case FUTEX_WAKE_BITSET:
            result = wakeOn(word, static_cast<int>(value), bits);
            return true;
        default:
            return false;
    }
}

}  // namespace
}  // namespace zeqcam::simulation

using namespace zeqcam::simulation;

#define TAKES_PLACE extern "C" [[gnu::visibility("default")]]

TAKES_PLACE int pthread_cond_wait(pthread_cond_t* condition, pthread_mutex_t* mutex) {
    if (self() == nullptr) return libc().pthread_cond_wait(condition, mutex);
    return waitFor(condition, mutex, kNever);
}

TAKES_PLACE int pthread_cond_timedwait(pthread_cond_t* condition, pthread_mutex_t* mutex,
                                       timespec const* time) {
    if (self() == nullptr) return libc().pthread_cond_timedwait(condition, mutex, time);
    // The clock of a condition variable's attributes: glibc keeps it in the second bit.
    clockid_t const clock = (condition->__data.__wrefs & 2U) != 0 ? CLOCK_MONOTONIC : CLOCK_REALTIME;
    return waitFor(condition, mutex, deadlineOf(clock, time));
}

TAKES_PLACE int pthread_cond_clockwait(pthread_cond_t* condition, pthread_mutex_t* mutex, clockid_t clock,
                                       timespec const* time) {
    if (self() == nullptr) return libc().pthread_cond_clockwait(condition, mutex, clock, time);
    return waitFor(condition, mutex, deadlineOf(clock, time));
}

TAKES_PLACE int pthread_cond_signal(pthread_cond_t* condition) noexcept {
    return self() == nullptr ? libc().pthread_cond_signal(condition) : wakeUp(condition, 1);
}

TAKES_PLACE int pthread_cond_broadcast(pthread_cond_t* condition) noexcept {
    return self() == nullptr ? libc().pthread_cond_broadcast(condition) : wakeUp(condition, INT_MAX);
}

TAKES_PLACE int sem_wait(sem_t* semaphore) {
    return self() == nullptr ? libc().sem_wait(semaphore) : waitFor(semaphore, kNever);
}

TAKES_PLACE int sem_timedwait(sem_t* semaphore, timespec const* time) {
    if (self() == nullptr) return libc().sem_timedwait(semaphore, time);
    return waitFor(semaphore, deadlineOf(CLOCK_REALTIME, time));
}

TAKES_PLACE int sem_clockwait(sem_t* semaphore, clockid_t clock, timespec const* time) {
    if (self() == nullptr) return libc().sem_clockwait(semaphore, clock, time);
    return waitFor(semaphore, deadlineOf(clock, time));
}

TAKES_PLACE int sem_trywait(sem_t* semaphore) noexcept {
    if (self() != nullptr) scheduler()->reach({.what = kSemaphore, .object = semaphore});
    return libc().sem_trywait(semaphore);
}

TAKES_PLACE int sem_post(sem_t* semaphore) noexcept {
    if (self() == nullptr) return libc().sem_post(semaphore);
    scheduler()->reach({.what = kSemaphore, .object = semaphore});
    int const result = libc().sem_post(semaphore);
    scheduler()->wake(semaphore, 1);
    return result;
}

TAKES_PLACE long syscall(long number, ...) noexcept {
    Arguments arguments{};
    std::va_list list;
    va_start(list, number);
    for (long& value : arguments.values) value = va_arg(list, long);
    va_end(list);
    if (Thread const* const thread = self()) {
        long result = 0;
        if (number == SYS_gettid) return idOf(*thread);
        if (number == SYS_futex && futex(arguments, result)) return result;
    }
    auto const& [a, b, c, d, e, f] = arguments.values;
    return libc().syscall(number, a, b, c, d, e, f);
}
