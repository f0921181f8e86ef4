#include "ByHand.h"
#include "SideBySide.h"

#include <zeqcam/board/Board.h>
#include <zeqcam/board/QosFile.h>

#include <valgrind/callgrind.h>

#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <new>
#include <stdexcept>
#include <string>
#include <string_view>

// Counts what repeats: allocations outside the board and, under callgrind, instructions of all threads.
namespace {

std::atomic<bool> gCounting{false};
std::atomic<int> gAllocations{0};

}  // namespace

void* operator new(std::size_t size) {
    if (gCounting.load(std::memory_order_relaxed) && !zeqcam::board::inBoard()) ++gAllocations;
    if (void* const memory = std::malloc(size)) return memory;
    throw std::bad_alloc();
}
void operator delete(void* memory) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::size_t /*size*/) noexcept {
    std::free(memory);
}

namespace zeqcam::benchmarks {
namespace {

int allocationsOf(Side const& side) {
    side.prepare();
    gAllocations = 0;
    gCounting = true;
    side.job();
    gCounting = false;
    side.undo();
    return gAllocations;
}

// A dump of callgrind's, named after the row; nothing without callgrind. What runs once, such as the binding
// of symbols, has run before.
void countInstructions(Side const& side, std::string const& row) {
    side.prepare();
    CALLGRIND_START_INSTRUMENTATION;
    side.job();
    CALLGRIND_STOP_INSTRUMENTATION;
    CALLGRIND_DUMP_STATS_AT(row.c_str());
    side.undo();
}

void count(std::string_view only) {
    for (Comparison const& comparison : allComparisons()) {
        if (!comparison.counts || (!only.empty() && comparison.name != only)) continue;
        for (Side const& side : comparison.sides()) {
            std::string const row = comparison.name + '\t' + side.name;
            allocationsOf(side);
            int const allocations = allocationsOf(side);
            countInstructions(side, row);
            std::cout << row << '\t' << side.operations << '\t' << allocations << std::endl;
        }
    }
}

}  // namespace
}  // namespace zeqcam::benchmarks

int main(int argc, char** argv) try {
    if (std::string const reason = zeqcam::board::QosFile::provide(); !reason.empty()) {
        throw std::runtime_error("no QoS file: " + reason);
    }
    zeqcam::benchmarks::checkSameCalls();
    zeqcam::benchmarks::count(argc > 1 ? argv[1] : "");
} catch (std::exception const& failure) {
    std::cerr << argv[0] << ": " << failure.what() << '\n';
    return 1;
}
