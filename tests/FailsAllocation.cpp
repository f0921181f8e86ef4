#include "FailsAllocation.h"

#include "Countdown.h"

#include <zeqcam/board/Board.h>

#include <cstdlib>
#include <new>

namespace zeqcam::tests {
namespace {

std::atomic<int> gAllocation{0};

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
