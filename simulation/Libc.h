#pragma once

#include <malloc.h>
#include <pthread.h>
#include <sched.h>
#include <semaphore.h>
#include <sys/resource.h>
#include <sys/time.h>
#include <time.h>
#include <unistd.h>

namespace zeqcam::simulation {

// The functions whose place this library takes, as the next library in the order of lookup has them.
struct Libc {
    decltype(&::pthread_create) pthread_create;
    decltype(&::pthread_join) pthread_join;
    decltype(&::pthread_detach) pthread_detach;
    decltype(&::pthread_once) pthread_once;
    decltype(&::pthread_mutex_lock) pthread_mutex_lock;
    decltype(&::pthread_mutex_trylock) pthread_mutex_trylock;
    decltype(&::pthread_mutex_timedlock) pthread_mutex_timedlock;
    decltype(&::pthread_mutex_clocklock) pthread_mutex_clocklock;
    decltype(&::pthread_mutex_unlock) pthread_mutex_unlock;
    decltype(&::pthread_rwlock_rdlock) pthread_rwlock_rdlock;
    decltype(&::pthread_rwlock_tryrdlock) pthread_rwlock_tryrdlock;
    decltype(&::pthread_rwlock_timedrdlock) pthread_rwlock_timedrdlock;
    decltype(&::pthread_rwlock_clockrdlock) pthread_rwlock_clockrdlock;
    decltype(&::pthread_rwlock_wrlock) pthread_rwlock_wrlock;
    decltype(&::pthread_rwlock_trywrlock) pthread_rwlock_trywrlock;
    decltype(&::pthread_rwlock_timedwrlock) pthread_rwlock_timedwrlock;
    decltype(&::pthread_rwlock_clockwrlock) pthread_rwlock_clockwrlock;
    decltype(&::pthread_rwlock_unlock) pthread_rwlock_unlock;
    decltype(&::pthread_cond_wait) pthread_cond_wait;
    decltype(&::pthread_cond_timedwait) pthread_cond_timedwait;
    decltype(&::pthread_cond_clockwait) pthread_cond_clockwait;
    decltype(&::pthread_cond_signal) pthread_cond_signal;
    decltype(&::pthread_cond_broadcast) pthread_cond_broadcast;
    decltype(&::sem_wait) sem_wait;
    decltype(&::sem_trywait) sem_trywait;
    decltype(&::sem_timedwait) sem_timedwait;
    decltype(&::sem_clockwait) sem_clockwait;
    decltype(&::sem_post) sem_post;
    decltype(&::clock_gettime) clock_gettime;
    int (*gettimeofday)(timeval*, void*);
    decltype(&::time) time;
    decltype(&::timespec_get) timespec_get;
    decltype(&::nanosleep) nanosleep;
    decltype(&::clock_nanosleep) clock_nanosleep;
    decltype(&::usleep) usleep;
    decltype(&::sleep) sleep;
    decltype(&::sched_yield) sched_yield;
    decltype(&::syscall) syscall;
    decltype(&::gettid) gettid;
    decltype(&::getpid) getpid;
    int (*getpriority)(int, id_t);
    int (*setpriority)(int, id_t, int);
    decltype(&::sched_setaffinity) sched_setaffinity;
    decltype(&::sched_getaffinity) sched_getaffinity;
    int (*open)(char const*, int, ...);
    decltype(&::close) close;
    decltype(&::write) write;
    decltype(&::malloc_usable_size) malloc_usable_size;
};

// Found at the first call. Cheap from then on.
Libc const& libc();

// The kernel's futex, which no simulation sees. `timeout` may be null. False when it has passed.
bool waitOnWord(void const* word, int value, timespec const* timeout = nullptr);
void wakeOnWord(void const* word);

}  // namespace zeqcam::simulation
