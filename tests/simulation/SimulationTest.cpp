// The simulation itself, on bodies small enough to count by hand.
#include <zeqcam/simulation/Simulation.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <semaphore.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <bit>
#include <chrono>
#include <condition_variable>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <functional>
#include <future>
#include <mutex>
#include <semaphore>
#include <set>
#include <shared_mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace zeqcam::simulation {
namespace {

using namespace std::chrono_literals;
using testing::AllOf;
using testing::HasSubstr;

// Appends to what it is given, from threads that take turns at points.
std::function<void()> twoWriters(std::string& story) {
    return [&story] {
        story.clear();
        auto const write = [&story](char letter) {
            for (int i = 0; i < 8; ++i) {
                std::this_thread::yield();
                story += letter;
            }
        };
        std::thread a(write, 'a');
        std::thread b(write, 'b');
        a.join();
        b.join();
    };
}

TEST(Run, TakesTheSameOrderFromTheSameSeed) {
    std::string story;
    std::set<std::string> stories;
    run(twoWriters(story), 0);  // what is made once in a process is made
    for (std::uint64_t seed = 1; seed <= 10; ++seed) {
        Result const first = run(twoWriters(story), seed);
        std::string const told = story;
        Result const second = run(twoWriters(story), seed);
        EXPECT_TRUE(first.holds()) << first.report;
        EXPECT_EQ(story, told);
        EXPECT_EQ(second.points, first.points);
        EXPECT_EQ(second.switches, first.switches);
        Result const again = replay(twoWriters(story), first.schedule);
        EXPECT_EQ(story, told) << "after " << first.schedule;
        EXPECT_EQ(again.schedule, first.schedule);
        stories.insert(told);
    }
    EXPECT_GT(stories.size(), 5U) << "seeds that make no difference";
}

TEST(Run, LetsTimePassOnlyWhenNobodyCanGoOn) {
    auto const body = [] {
        auto const began = std::chrono::steady_clock::now();
        std::time_t const day = std::time(nullptr);
        std::thread sleeper([] { std::this_thread::sleep_for(48h); });
        std::mutex mutex;
        std::condition_variable never;
        std::unique_lock lock(mutex);
        if (never.wait_for(lock, 5ms) != std::cv_status::timeout) fail("woken by nobody");
        if (std::chrono::steady_clock::now() - began != 5ms) fail("a wait of 5 ms took another time");
        sleeper.join();
        if (std::chrono::steady_clock::now() - began != 48h) fail("a sleep of two days took another time");
        if (std::time(nullptr) - day != 2 * 86400) fail("the calendar went another way");
    };
    Result const result = run(body, 1);
    EXPECT_TRUE(result.holds()) << result.report;
    EXPECT_EQ(result.time, 48h);
}

TEST(Run, MovesTheClockForWhoeverOnlyLooksOn) {
    auto const spins = [](auto const& look) {
        return [look] {
            std::atomic<bool> done = false;
            std::thread sleeper([&done] {
                std::this_thread::sleep_for(1ms);
                done = true;
            });
            while (!done) look();
            sleeper.join();
        };
    };
    Result const yielding = run(spins([] { std::this_thread::yield(); }), 1);
    EXPECT_TRUE(yielding.holds()) << yielding.report;
    Result const looking = run(spins([] { static_cast<void>(std::chrono::steady_clock::now()); }), 1);
    EXPECT_TRUE(looking.holds()) << looking.report;
}

TEST(Run, KnowsEveryWayToWait) {
    auto const body = [] {
        std::shared_mutex shared;
        int guarded = 0;
        std::counting_semaphore<4> slots(0);
        std::atomic<int> stage = 0;
        sem_t old;
        sem_init(&old, 0, 0);
        std::promise<int> promise;
        std::once_flag once;
        int calls = 0;
        std::vector<std::thread> threads;
        for (int i = 0; i < 3; ++i) {
            threads.emplace_back([&] {
                slots.acquire();
                std::call_once(once, [&calls] { ++calls; });
                {
                    std::unique_lock const writing(shared);
                    ++guarded;
                }
                std::shared_lock const reading(shared);
                ++stage;
                stage.notify_all();
            });
        }
        threads.emplace_back([&] {
            for (int seen = stage; seen < 3; seen = stage) stage.wait(seen);
            promise.set_value(guarded);
            sem_post(&old);
        });
        slots.release(3);
        sem_wait(&old);
        if (promise.get_future().get() != 3) fail("a writer was lost");
        if (calls != 1) fail("once was more than once");
        for (std::thread& thread : threads) thread.join();
        sem_destroy(&old);
    };
    for (std::uint64_t seed = 0; seed < 200; ++seed) {
        Result const result = run(body, seed);
        ASSERT_TRUE(result.holds()) << result.schedule << '\n' << result.report;
        ASSERT_EQ(result.time, 0ns);
    }
}

TEST(Run, WaitsForDetachedThreadsAndTheirThreadLocals) {
    static std::mutex mutex;
    static int gone = 0;
    struct Farewell {
        ~Farewell() {
            std::lock_guard const hold(mutex);
            ++gone;
        }
    };
    gone = 0;
    Result const result = run(
        [] {
            for (int i = 0; i < 3; ++i) {
                std::thread([] {
                    thread_local Farewell farewell;
                    static_cast<void>(farewell);
                    std::this_thread::sleep_for(1s);
                }).detach();
            }
        },
        5);
    EXPECT_TRUE(result.holds()) << result.report;
    EXPECT_EQ(gone, 3);
    EXPECT_EQ(result.threads, 4);
}

TEST(Run, TellsTheSameIdsInEveryRun) {
    std::vector<int> ids;
    auto const body = [&ids] {
        ids = {getpid(), gettid()};
        std::thread([&ids] { ids.push_back(gettid()); }).join();
    };
    for (int i = 0; i < 2; ++i) {
        ASSERT_TRUE(run(body, 1).holds());
        EXPECT_THAT(ids, testing::ElementsAre(1000, 1000, 1001));
    }
    EXPECT_NE(getpid(), 1000) << "outside";
}

// ---- Failures, each in a process that is given up with it ----

Result alone(std::function<void()> const& body, Limits limits = {.points = 10'000, .patience = 50ms}) {
    Exploration const found = explore(body, {.preemptions = 1, .limits = limits});
    return found.failure.value_or(Result{});
}

TEST(Report, TellsWhoWaitsForWhom) {
    static std::mutex left;
    static std::mutex right;
    auto const body = [] {
        auto const both = [](std::mutex& first, std::mutex& second, char const* section) {
            zeqcam_simulation_begin(section);
            std::lock_guard const one(first);
            std::lock_guard const other(second);
            zeqcam_simulation_end();
        };
        std::thread a(both, std::ref(left), std::ref(right), "left first");
        std::thread b(both, std::ref(right), std::ref(left), "right first");
        a.join();
        b.join();
    };
    // Nobody is blocked here; on a slow machine a thread may take long to wake to its turn.
    Result const result = alone(body, {.points = 10'000, .patience = 10s});
    EXPECT_EQ(result.ending, Ending::Deadlock);
    EXPECT_THAT(result.report, AllOf(HasSubstr("waits for: end of thread 1"), HasSubstr("waits for: mutex"),
                                     HasSubstr("held by thread 2"), HasSubstr("in left first"),
                                     HasSubstr("in right first"), HasSubstr("    at ")));
}

TEST(Report, NamesWhatASimulationCannotSee) {
    std::array<int, 2> ends{};
    ASSERT_EQ(pipe(ends.data()), 0);
    Result const reads = alone([&ends] {
        char byte = 0;
        static_cast<void>(!read(ends[0], &byte, 1));
    });
    EXPECT_EQ(reads.ending, Ending::Blocked);
    EXPECT_THAT(reads.report, AllOf(HasSubstr("thread 0"), HasSubstr("waits in read"), HasSubstr("    at ")));
    close(ends[0]);
    close(ends[1]);

    Result const computes = alone([] {
        std::atomic<bool> never = false;
        while (!never) {
        }
    });
    EXPECT_EQ(computes.ending, Ending::Blocked);
    EXPECT_THAT(computes.report, HasSubstr("computes and comes to no point"));
}

TEST(Report, EndsALivelock) {
    Result const result = alone([] {
        std::mutex mutex;
        for (;;) std::lock_guard const hold(mutex);
    });
    EXPECT_EQ(result.ending, Ending::Livelock);
}

TEST(Report, TellsWhatFailed) {
    EXPECT_THAT(alone([] { throw std::runtime_error("no light"); }).report, HasSubstr("no light"));
    EXPECT_THAT(alone([] { fail("too dark"); }).report, HasSubstr("too dark"));
    EXPECT_THAT(alone([] { raise(SIGSEGV); }).report, HasSubstr("Segmentation fault"));
    EXPECT_THAT(alone([] { std::exit(3); }).report, HasSubstr("status 3"));
    Result const result = run([] { fail("in this process"); }, 1);
    EXPECT_EQ(result.ending, Ending::Failed);
    EXPECT_EQ(result.report, "in this process");
}

// ---- Exploring ----

// Three steps each of two threads at one object: every order is a state of its own.
std::function<void()> threeStepsEach(int* told) {
    return [told] {
        int order = 1;
        int stages = 0;
        auto const steps = [&](int digit) {
            for (int i = 0; i < 3; ++i) {
                touch(&stages);
                order = order * 2 + digit;
            }
        };
        std::thread other(steps, 1);
        steps(0);
        other.join();
        ++told[order];
    };
}

// Where children leave what they found.
template <class Value, std::size_t kCount>
struct Shared {
    Shared()
        : values(static_cast<Value*>(mmap(nullptr, kCount * sizeof(Value), PROT_READ | PROT_WRITE,
                                          MAP_SHARED | MAP_ANONYMOUS, -1, 0))) {}
    ~Shared() { munmap(values, kCount * sizeof(Value)); }
    Shared(Shared const&) = delete;
    Shared& operator=(Shared const&) = delete;
    Value* const values;
};

// How many orders of 0 0 0 and 1 1 1 there are with so many preemptions: a turn that ends before its thread
// has.
int ordersWithin(int preemptions) {
    int count = 0;
    for (unsigned bits = 0; bits < 64; ++bits) {
        if (std::popcount(bits) != 3) continue;
        int switches = 0;
        int left[2] = {3, 3};
        unsigned last = bits >> 5 & 1U;
        for (int i = 5; i >= 0; --i) {
            unsigned const now = bits >> i & 1U;
            if (now != last && left[last] > 0) ++switches;
            --left[now];
            last = now;
        }
        // The other thread cannot begin before the first has given its turn up.
        if (bits >> 5 & 1U) ++switches;
        count += switches <= preemptions ? 1 : 0;
    }
    return count;
}

TEST(Explore, RunsEveryOrderWithinTheBoundAndNoneBeyond) {
    for (int preemptions = 0; preemptions <= 5; ++preemptions) {
        for (bool const reduce : {true, false}) {
            Shared<int, 128> told;
            Exploration const found =
                explore(threeStepsEach(told.values), {.preemptions = preemptions, .reduce = reduce});
            EXPECT_TRUE(found.holds());
            EXPECT_EQ(found.preemptions, preemptions);
            int const orders = static_cast<int>(128 - std::count(told.values, told.values + 128, 0));
            EXPECT_EQ(orders, ordersWithin(preemptions)) << preemptions << " preemptions, reduce " << reduce;
        }
    }
}

TEST(Explore, IsCutShortByABoundOrByItsCaller) {
    Shared<int, 128> told;
    auto const body = threeStepsEach(told.values);
    Exploration const bounded = explore(body, {.preemptions = 5, .schedules = 3});
    EXPECT_EQ(bounded.schedules, 3U);
    EXPECT_EQ(summary(bounded), "3 schedules hold; cut short, all with at most 0 preemptions were run");
    int asked = 0;
    Exploration const cancelled =
        explore(body, {.preemptions = 5, .isCancelled = [&] { return ++asked > 4; }});
    EXPECT_FALSE(cancelled.complete || cancelled.failure);
    EXPECT_THAT(summary(cancelled), HasSubstr("cut short"));
}

}  // namespace
}  // namespace zeqcam::simulation
