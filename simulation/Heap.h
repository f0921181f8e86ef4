#pragma once

#include <cstddef>

namespace zeqcam::simulation {

// Simulated threads have their memory from a region of their own, at an address that is the same in every
// process: addresses decide more than one would think, such as the order of some containers and which atomics
// share a list of waiters. Elsewhere the C library's memory is used, and freed wherever that happens.

// For a run: begins with the region as a new process has it, or behind what is still in use.
void beginRegion();
// What simulated threads free is not used again in this process: an address means the same object throughout
// a run, and two threads meet at none that only looks the same.
void keepMemory();

// The C library's.
void* allocateOwn(std::size_t size);
void freeOwn(void* memory);

}  // namespace zeqcam::simulation
