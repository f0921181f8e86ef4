// Threads and what a thread calls itself, in the C library's place.
#include "Libc.h"
#include "Turn.h"

#include <cerrno>
#include <optional>

namespace zeqcam::simulation {
namespace {

// The kernel's id of a thread that the program knows by the simulation's.
std::optional<pid_t> kernelIdOf(id_t id) {
    if (id < static_cast<id_t>(kFirstId)) return {};
    Thread const* const thread = scheduler()->numbered(static_cast<int>(id) - kFirstId);
    return thread != nullptr ? std::optional(thread->kernelId.load()) : std::nullopt;
}

id_t translated(int which, id_t who) {
    if (self() == nullptr || which != PRIO_PROCESS) return who;
    return static_cast<id_t>(kernelIdOf(who).value_or(static_cast<pid_t>(who)));
}

}  // namespace
}  // namespace zeqcam::simulation

using namespace zeqcam::simulation;

#define TAKES_PLACE extern "C" [[gnu::visibility("default")]]

TAKES_PLACE int pthread_create(pthread_t* handle, pthread_attr_t const* attributes, void* (*function)(void*),
                               void* argument) noexcept {
    if (self() == nullptr) return libc().pthread_create(handle, attributes, function, argument);
    scheduler()->reach({.what = "start of a thread"});
    return scheduler()->start(handle, attributes, function, argument);
}

TAKES_PLACE int pthread_join(pthread_t handle, void** result) {
    if (self() != nullptr) {
        if (Thread const* const thread = scheduler()->find(handle)) {
            if (thread == self()) return EDEADLK;
            scheduler()->reach({.what = "end", .object = thread, .until = Until::Ended, .target = thread});
            scheduler()->forget(handle);
        }
    }
    return libc().pthread_join(handle, result);
}

TAKES_PLACE int pthread_detach(pthread_t handle) noexcept {
    if (self() != nullptr) scheduler()->forget(handle);
    return libc().pthread_detach(handle);
}

TAKES_PLACE pid_t gettid() noexcept {
    return self() == nullptr ? libc().gettid() : idOf(*self());
}

TAKES_PLACE pid_t getpid() noexcept {
    return self() == nullptr ? libc().getpid() : kFirstId;
}

TAKES_PLACE int getpriority(__priority_which_t which, id_t who) noexcept {
    return libc().getpriority(which, translated(which, who));
}

TAKES_PLACE int setpriority(__priority_which_t which, id_t who, int priority) noexcept {
    return libc().setpriority(which, translated(which, who), priority);
}
