#include "Libc.h"

#include <dlfcn.h>
#include <linux/futex.h>
#include <sys/syscall.h>

#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdlib>

namespace zeqcam::simulation {
namespace {

template <class Function>
void find(Function& function, char const* name) {
    function = reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
    if (function == nullptr) std::abort();
}

Libc findAll() {
    Libc found{};
#define FIND(name) find(found.name, #name)
    FIND(pthread_create);
    FIND(pthread_join);
    FIND(pthread_detach);
    FIND(pthread_once);
    FIND(pthread_mutex_lock);
    FIND(pthread_mutex_trylock);
    FIND(pthread_mutex_timedlock);
    FIND(pthread_mutex_clocklock);
    FIND(pthread_mutex_unlock);
    FIND(pthread_rwlock_rdlock);
    FIND(pthread_rwlock_tryrdlock);
    FIND(pthread_rwlock_timedrdlock);
    FIND(pthread_rwlock_clockrdlock);
    FIND(pthread_rwlock_wrlock);
    FIND(pthread_rwlock_trywrlock);
    FIND(pthread_rwlock_timedwrlock);
    FIND(pthread_rwlock_clockwrlock);
    FIND(pthread_rwlock_unlock);
    FIND(pthread_cond_wait);
    FIND(pthread_cond_timedwait);
    FIND(pthread_cond_clockwait);
    FIND(pthread_cond_signal);
    FIND(pthread_cond_broadcast);
    FIND(sem_wait);
    FIND(sem_trywait);
    FIND(sem_timedwait);
    FIND(sem_clockwait);
    FIND(sem_post);
    FIND(clock_gettime);
    FIND(gettimeofday);
    FIND(time);
    FIND(timespec_get);
    FIND(nanosleep);
    FIND(clock_nanosleep);
    FIND(usleep);
    FIND(sleep);
    FIND(sched_yield);
    FIND(syscall);
    FIND(gettid);
    FIND(getpid);
    FIND(getpriority);
    FIND(setpriority);
    FIND(sched_setaffinity);
    FIND(sched_getaffinity);
    FIND(open);
    FIND(close);
    FIND(write);
    FIND(malloc_usable_size);
#undef FIND
    return found;
}

constinit Libc gFound{};
constinit std::atomic<bool> gIsFound{false};

}  // namespace

// No static of the function: what guards those may take a lock, which asks for this. The first call comes
// while the process has one thread.
Libc const& libc() {
    if (!gIsFound.load(std::memory_order_acquire)) {
        gFound = findAll();
        gIsFound.store(true, std::memory_order_release);
    }
    return gFound;
}

bool waitOnWord(void const* word, int value, timespec const* timeout) {
    return libc().syscall(SYS_futex, word, FUTEX_WAIT_PRIVATE, value, timeout, nullptr, 0) == 0 ||
           errno != ETIMEDOUT;
}

void wakeOnWord(void const* word) {
    libc().syscall(SYS_futex, word, FUTEX_WAKE_PRIVATE, INT_MAX, nullptr, nullptr, 0);
}

}  // namespace zeqcam::simulation
