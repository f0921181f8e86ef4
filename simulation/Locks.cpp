// Mutexes, read-write locks and what runs once, in the C library's place. The real lock is taken too, without
// a wait: kinds, owners and robust states stay as they are.
#include "Libc.h"
#include "Turn.h"

#include <cerrno>

namespace zeqcam::simulation {

void awaitOutside(Step const& step, int& attempts) {
    constexpr long kPause = 100'000;
    timespec const pause{.tv_sec = 0, .tv_nsec = kPause};
    libc().nanosleep(&pause, nullptr);
    if (++attempts * std::chrono::nanoseconds(kPause) > scheduler()->limits().patience) {
        scheduler()->stop(Ending::Blocked, "thread " + std::to_string(self()->number) + " waits for a " +
                                               step.what + " that a thread outside the simulation holds");
    }
}

namespace {

// Takes a lock at a point: `attempt` is the real one.
template <class Attempt>
int take(Step const& step, Attempt const& attempt) {
    Scheduler& turn = *scheduler();
    turn.reach(step);
    for (int attempts = 0;;) {
        int const error = attempt();
        if (error != EBUSY) {
            if (error == 0 || error == EOWNERDEAD) turn.acquired(step.lock, step.until == Until::Unwritten);
            return error;
        }
        if (turn.holder(step.lock) != nullptr) return ETIMEDOUT;
        awaitOutside(step, attempts);
    }
}

int lock(pthread_mutex_t* mutex, Time deadline = kNever) {
    Scheduler::Holder const* const held = scheduler()->holder(mutex);
    bool const mine = held != nullptr && held->writer == self();
    int const kind = mutex->__data.__kind & 3;
    if (mine && kind == PTHREAD_MUTEX_ERRORCHECK) return EDEADLK;
    Until const until = mine && kind == PTHREAD_MUTEX_RECURSIVE ? Until::Now : Until::Free;
    return take({.what = "mutex", .object = mutex, .until = until, .lock = mutex, .deadline = deadline},
                [mutex] { return libc().pthread_mutex_trylock(mutex); });
}

// One attempt at a point. `forReading` is how it counts when it succeeds.
template <class Attempt>
int attemptAt(char const* what, void const* object, bool forReading, Attempt const& attempt) {
    scheduler()->reach({.what = what, .object = object});
    int const error = attempt();
    if (error == 0) scheduler()->acquired(object, forReading);
    return error;
}

template <class Release>
int release(char const* what, void const* object, Release const& real) {
    scheduler()->reach({.what = what, .object = object});
    int const error = real();
    if (error == 0) scheduler()->released(object);
    return error;
}

int lockForReading(pthread_rwlock_t* lock, Time deadline = kNever) {
    return take({.what = "read-write lock",
                 .object = lock,
                 .until = Until::Unwritten,
                 .lock = lock,
                 .deadline = deadline},
                [lock] { return libc().pthread_rwlock_tryrdlock(lock); });
}

int lockForWriting(pthread_rwlock_t* lock, Time deadline = kNever) {
    return take(
        {.what = "read-write lock", .object = lock, .until = Until::Free, .lock = lock, .deadline = deadline},
        [lock] { return libc().pthread_rwlock_trywrlock(lock); });
}

// While one thread runs what is to run once.
class Once {
  public:
    explicit Once(pthread_once_t* control) : mControl(control) {
        scheduler()->reach({.what = "once", .object = control, .until = Until::Free, .lock = control});
        scheduler()->acquired(control);
    }
    ~Once() { scheduler()->released(mControl); }
    Once(Once const&) = delete;
    Once& operator=(Once const&) = delete;

  private:
    pthread_once_t* const mControl;
};

}  // namespace
}  // namespace zeqcam::simulation

using namespace zeqcam::simulation;

#define TAKES_PLACE extern "C" [[gnu::visibility("default")]]

TAKES_PLACE int pthread_mutex_lock(pthread_mutex_t* mutex) noexcept {
    return self() == nullptr ? libc().pthread_mutex_lock(mutex) : lock(mutex);
}

TAKES_PLACE int pthread_mutex_trylock(pthread_mutex_t* mutex) noexcept {
    if (self() == nullptr) return libc().pthread_mutex_trylock(mutex);
    return attemptAt("mutex", mutex, false, [mutex] { return libc().pthread_mutex_trylock(mutex); });
}

TAKES_PLACE int pthread_mutex_timedlock(pthread_mutex_t* mutex, timespec const* time) noexcept {
    if (self() == nullptr) return libc().pthread_mutex_timedlock(mutex, time);
    return lock(mutex, deadlineOf(CLOCK_REALTIME, time));
}

TAKES_PLACE int pthread_mutex_clocklock(pthread_mutex_t* mutex, clockid_t clock,
                                        timespec const* time) noexcept {
    if (self() == nullptr) return libc().pthread_mutex_clocklock(mutex, clock, time);
    return lock(mutex, deadlineOf(clock, time));
}

TAKES_PLACE int pthread_mutex_unlock(pthread_mutex_t* mutex) noexcept {
    if (self() == nullptr) return libc().pthread_mutex_unlock(mutex);
    return release("mutex", mutex, [mutex] { return libc().pthread_mutex_unlock(mutex); });
}

TAKES_PLACE int pthread_rwlock_rdlock(pthread_rwlock_t* rwlock) noexcept {
    return self() == nullptr ? libc().pthread_rwlock_rdlock(rwlock) : lockForReading(rwlock);
}

TAKES_PLACE int pthread_rwlock_tryrdlock(pthread_rwlock_t* rwlock) noexcept {
    if (self() == nullptr) return libc().pthread_rwlock_tryrdlock(rwlock);
    return attemptAt("read-write lock", rwlock, true,
                     [rwlock] { return libc().pthread_rwlock_tryrdlock(rwlock); });
}

TAKES_PLACE int pthread_rwlock_timedrdlock(pthread_rwlock_t* rwlock, timespec const* time) noexcept {
    if (self() == nullptr) return libc().pthread_rwlock_timedrdlock(rwlock, time);
    return lockForReading(rwlock, deadlineOf(CLOCK_REALTIME, time));
}

TAKES_PLACE int pthread_rwlock_clockrdlock(pthread_rwlock_t* rwlock, clockid_t clock,
                                           timespec const* time) noexcept {
    if (self() == nullptr) return libc().pthread_rwlock_clockrdlock(rwlock, clock, time);
    return lockForReading(rwlock, deadlineOf(clock, time));
}

TAKES_PLACE int pthread_rwlock_wrlock(pthread_rwlock_t* rwlock) noexcept {
    return self() == nullptr ? libc().pthread_rwlock_wrlock(rwlock) : lockForWriting(rwlock);
}

TAKES_PLACE int pthread_rwlock_trywrlock(pthread_rwlock_t* rwlock) noexcept {
    if (self() == nullptr) return libc().pthread_rwlock_trywrlock(rwlock);
    return attemptAt("read-write lock", rwlock, false,
                     [rwlock] { return libc().pthread_rwlock_trywrlock(rwlock); });
}

TAKES_PLACE int pthread_rwlock_timedwrlock(pthread_rwlock_t* rwlock, timespec const* time) noexcept {
    if (self() == nullptr) return libc().pthread_rwlock_timedwrlock(rwlock, time);
    return lockForWriting(rwlock, deadlineOf(CLOCK_REALTIME, time));
}

TAKES_PLACE int pthread_rwlock_clockwrlock(pthread_rwlock_t* rwlock, clockid_t clock,
                                           timespec const* time) noexcept {
    if (self() == nullptr) return libc().pthread_rwlock_clockwrlock(rwlock, clock, time);
    return lockForWriting(rwlock, deadlineOf(clock, time));
}

TAKES_PLACE int pthread_rwlock_unlock(pthread_rwlock_t* rwlock) noexcept {
    if (self() == nullptr) return libc().pthread_rwlock_unlock(rwlock);
    return release("read-write lock", rwlock, [rwlock] { return libc().pthread_rwlock_unlock(rwlock); });
}

TAKES_PLACE int pthread_once(pthread_once_t* control, void (*routine)()) {
    if (self() == nullptr) return libc().pthread_once(control, routine);
    Once const once(control);
    return libc().pthread_once(control, routine);
}
