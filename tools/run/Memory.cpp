#include "run/Memory.h"

#include <malloc.h>

namespace zeqcam::tool {

void keepMemorySmall() {
    constexpr int kHeaps = 2;
    constexpr int kLarge = 128 * 1024;  // bytes: what goes back when it is freed; else the limit grows
    mallopt(M_ARENA_MAX, kHeaps);
    mallopt(M_MMAP_THRESHOLD, kLarge);
}

void keepOneHeap() {
    mallopt(M_ARENA_MAX, 1);
}

void giveMemoryBack() {
    malloc_trim(0);
}

}  // namespace zeqcam::tool
