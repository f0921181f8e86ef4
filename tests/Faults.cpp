#include "Faults.h"

#include <zeqcam/board/Board.h>

#include <dlfcn.h>
#include <pthread.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <new>

namespace zeqcam::tests {
namespace {

// Counts down to the one that fails; 0 when disarmed or past it.
std::atomic<int> gAllocation{0};
std::atomic<int> gThread{0};

bool strikes(std::atomic<int>& countdown) {
    int left = countdown.load();
    while (left > 0 && !countdown.compare_exchange_weak(left, left - 1)) {
    }
    return left == 1;
}

}  // namespace

FailsAllocation::FailsAllocation(int nth) {
    gAllocation = nth;
}
FailsAllocation::~FailsAllocation() {
    gAllocation = 0;
}
bool FailsAllocation::struck() const {
    return gAllocation == 0;
}

FailsThread::FailsThread(int nth) {
    gThread = nth;
}
FailsThread::~FailsThread() {
    gThread = 0;
}

}  // namespace zeqcam::tests

void* operator new(std::size_t size) {
    using namespace zeqcam;
    if (tests::gAllocation.load() > 0 && !board::inBoard() && tests::strikes(tests::gAllocation)) {
        throw std::bad_alloc();
    }
    if (void* const memory = std::malloc(size)) return memory;
    throw std::bad_alloc();
}
void operator delete(void* memory) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}

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
