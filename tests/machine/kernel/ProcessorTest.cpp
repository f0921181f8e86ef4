#include "PowerTest.h"
#include "storm/Storm.h"

#include <sched.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstddef>
#include <fstream>
#include <functional>
#include <iostream>
#include <string>
#include <vector>

// Power-ons on processors that are few, or that leave.
namespace zeqcam::tests {
namespace {

// The calling thread, and those that it starts, stay on one processor until the end of the scope.
class Pinned {
  public:
    explicit Pinned(int processor) {
        sched_getaffinity(0, sizeof mBefore, &mBefore);
        cpu_set_t one;
        CPU_ZERO(&one);
        CPU_SET(static_cast<std::size_t>(processor), &one);
        EXPECT_EQ(sched_setaffinity(0, sizeof one, &one), 0) << "processor " << processor;
    }
    ~Pinned() { sched_setaffinity(0, sizeof mBefore, &mBefore); }
    Pinned(Pinned const&) = delete;
    Pinned& operator=(Pinned const&) = delete;

  private:
    cpu_set_t mBefore{};
};

// Whether the kernel has said yes.
bool setOnline(int processor, bool isOnline) {
    std::ofstream file("/sys/devices/system/cpu/cpu" + std::to_string(processor) + "/online");
    file << (isOnline ? '1' : '0') << std::flush;
    return file.good();
}

// Offline from `leave` on, back by `comeBack` or at the end of the scope.
class Processor {
  public:
    explicit Processor(int number) : mNumber(number) {}
    ~Processor() { setOnline(mNumber, true); }
    Processor(Processor const&) = delete;
    Processor& operator=(Processor const&) = delete;

    [[nodiscard]] bool leave() const { return setOnline(mNumber, false); }
    [[nodiscard]] bool comeBack() const { return setOnline(mNumber, true); }

  private:
    int mNumber;
};

class ProcessorTest : public PowerTest {
  protected:
    void setHangs(bool powerOn, bool powerOff) {
        board().change([&](board::Settings& settings) {
            settings.sensors[1].powerOnHangs = powerOn;
            settings.sensors[1].powerOffHangs = powerOff;
        });
    }
};

// Its threads are all on the processor that goes: one that waits in a sensor, others that wait for it.
TEST_F(ProcessorTest, MayLeaveAndComeBackDuringAPowerOnAndAPowerOff) {
    constexpr int kProcessor = 3;
    Processor const processor(kProcessor);
    for (bool const comesBackWithin : {true, false}) {
        SCOPED_TRACE(comesBackWithin);
        auto const controller = create({0, 1, 2});
        auto const leaveDuring = [&](Kind kind, std::function<void()> const& request) {
            journal().clear();
            setHangs(true, true);
            Background const client([&] {
                Pinned const pinned(kProcessor);
                request();
            });
            journal().waitUntil([&](std::vector<Entry> const& all) {
                return std::any_of(all.begin(), all.end(), [&](Entry const& entry) {
                    return entry.kind == kind && entry.sensor == 1;
                });
            });
            EXPECT_TRUE(processor.leave());
            EXPECT_TRUE(!comesBackWithin || processor.comeBack());
            setHangs(false, false);
        };
        leaveDuring(Kind::SensorPowerOn, [&] { EXPECT_TRUE(controller->powerOn({0, 1, 2})); });
        EXPECT_THAT(brokenRules(entries()), testing::IsEmpty());
        for (int const sensor : {0, 1, 2}) EXPECT_TRUE(board().isPowered(sensor)) << sensor;
        EXPECT_TRUE(processor.comeBack());
        leaveDuring(Kind::SensorPowerOff, [&] { controller->powerOff({0, 1, 2}); });
        for (int const sensor : {0, 1, 2}) EXPECT_FALSE(board().isPowered(sensor)) << sensor;
        EXPECT_TRUE(processor.comeBack());
    }
}

class StormOnProcessors : public PowerTest {
  protected:
    StormOnProcessors() { mSettings = Storm::settings(); }

    void play(unsigned long cycles) {
        Storm storm(board());
        while (storm.cycles() < cycles) {
            ASSERT_EQ(storm.playBatch(static_cast<unsigned int>(storm.cycles())), "");
        }
        journal().clear();
    }
};

TEST_F(StormOnProcessors, LosesNothingOnOneAlone) {
    for (int const processor : {0, 3}) {
        Pinned const pinned(processor);
        ASSERT_NO_FATAL_FAILURE(play(60));
    }
}

TEST_F(StormOnProcessors, LosesNothingWhileTheyComeAndGo) {
    std::array<Processor, 3> const processors{Processor(1), Processor(2), Processor(3)};
    std::atomic<bool> isOver = false;
    std::size_t left = 0;
    Background comingAndGoing([&] {
        do {
            EXPECT_TRUE(processors[left % processors.size()].leave());
            EXPECT_TRUE(processors[left % processors.size()].comeBack());
            ++left;
        } while (!isOver);
    });
    play(100);
    isOver = true;
    comingAndGoing.join();
    std::cout << "processors left " << left << " times\n";
    EXPECT_GE(left, processors.size());
}

}  // namespace
}  // namespace zeqcam::tests
