#include "FailsThread.h"

#include "Countdown.h"

#include <dlfcn.h>
#include <pthread.h>

#include <cerrno>

namespace zeqcam::tests {
namespace {

std::atomic<int> gThread{0};

}  // namespace

FailsThread::FailsThread(int nth) {
    gThread = nth;
}
FailsThread::~FailsThread() {
    gThread = 0;
}

}  // namespace zeqcam::tests

// A sanitizer's own, which must see every thread.
extern "C" [[gnu::weak]] int __interceptor_pthread_create(pthread_t*, pthread_attr_t const*, void* (*)(void*),
                                                          void*);

// Visible, so that the libraries call it too.
extern "C" [[gnu::visibility("default")]] int pthread_create(pthread_t* thread,
                                                             pthread_attr_t const* attributes,
                                                             void* (*run)(void*), void* argument) noexcept {
    if (zeqcam::tests::strikes(zeqcam::tests::gThread)) return EAGAIN;
    if (__interceptor_pthread_create != nullptr)
        return __interceptor_pthread_create(thread, attributes, run, argument);
    static auto const real = reinterpret_cast<decltype(&pthread_create)>(dlsym(RTLD_NEXT, "pthread_create"));
    return real(thread, attributes, run, argument);
}
