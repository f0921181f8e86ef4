#include "PowerTest.h"
#include "storm/Storm.h"

#include <malloc.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <optional>

namespace zeqcam::tests {
namespace {

std::ptrdiff_t countOf(char const* folder) {
    return std::distance(std::filesystem::directory_iterator(folder), std::filesystem::directory_iterator());
}

struct Footprint {
    std::ptrdiff_t threads = 0;
    std::ptrdiff_t descriptors = 0;
    std::ptrdiff_t heapKiB = 0;  // in use
    std::ptrdiff_t residentKiB = 0;

    // After the allocator has given back what it only keeps for later.
    static Footprint now() {
        malloc_trim(0);
        std::ifstream statm("/proc/self/statm");
        std::ptrdiff_t pages = 0;
        statm >> pages >> pages;
        return {countOf("/proc/self/task"), countOf("/proc/self/fd"),
                static_cast<std::ptrdiff_t>(mallinfo2().uordblks / 1024),
                pages * sysconf(_SC_PAGESIZE) / 1024};
    }
};

// Nobody waits for the threads of workers that are done: some may be about to end.
void awaitThreads(std::ptrdiff_t most) {
    while (countOf("/proc/self/task") > most) std::this_thread::yield();
}

class StormTest : public PowerTest {
  protected:
    StormTest() { mSettings = Storm::settings(); }
    void SetUp() override {
        PowerTest::SetUp();
        mStorm.emplace(board());
    }
    void TearDown() override {
        mStorm.reset();
        PowerTest::TearDown();
    }

    std::optional<Storm> mStorm;
};

TEST_F(StormTest, LosesNothingAndLeavesNothing) {
    char const* const asked = std::getenv("ZEQCAM_STORM_CYCLES");
    unsigned long const cycles = asked != nullptr ? std::strtoul(asked, nullptr, 10) : 4000;
    auto const playUntil = [this](unsigned long end) {
        while (mStorm->cycles() < end) {
            ASSERT_EQ(mStorm->playBatch(static_cast<unsigned int>(mStorm->cycles())), "");
        }
        journal().clear();
    };
    unsigned long const settled = std::min(1000UL, cycles / 2);
    ASSERT_NO_FATAL_FAILURE(playUntil(settled));
    Footprint const early = Footprint::now();
    ASSERT_NO_FATAL_FAILURE(playUntil(cycles));
    awaitThreads(early.threads);
    Footprint const late = Footprint::now();
    std::cout << "power cycles: " << mStorm->cycles() << "; after " << settled << " and now: heap "
              << early.heapKiB << " and " << late.heapKiB << " KiB, resident " << early.residentKiB << " and "
              << late.residentKiB << " KiB\n";
    EXPECT_LE(late.threads, early.threads);
    EXPECT_EQ(late.descriptors, early.descriptors);
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)  // they keep freed memory on purpose
    EXPECT_LE(late.heapKiB, early.heapKiB + 64);
    EXPECT_LE(late.residentKiB, early.residentKiB + 2048);  // heaps of threads that have ended stay in pieces
#endif
}

}  // namespace
}  // namespace zeqcam::tests
