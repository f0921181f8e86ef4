#include "Heap.h"

#include "Memory.h"
#include "Thread.h"

#include <dlfcn.h>

#include <atomic>

namespace zeqcam::simulation {
namespace {

bool gKeeps = false;

using Free = void (*)(void*);

// Not with the others in Libc: it is called while they are looked for.
Free realFree() {
    static constinit std::atomic<Free> found{nullptr};
    Free real = found.load(std::memory_order_relaxed);
    if (real == nullptr) {
        real = reinterpret_cast<Free>(dlsym(RTLD_NEXT, "free"));
        found.store(real, std::memory_order_relaxed);
    }
    return real;
}

}  // namespace

void freeOwn(void* memory) {
    realFree()(memory);
}

void keepMemory() {
    gKeeps = true;
}

}  // namespace zeqcam::simulation

using namespace zeqcam::simulation;

extern "C" [[gnu::visibility("default")]] void free(void* memory) noexcept {
    if (gKeeps && self() != nullptr) return;
    realFree()(memory);
}
