#include "PowerTest.h"

#include <malloc.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <random>
#include <shared_mutex>

namespace zeqcam::tests {
namespace {

constexpr int kSensorsOfAGroup = 2;
constexpr int kGroups = 3;
constexpr int kClients = 5;
constexpr int kRequestsOfABatch = 20;

// Sensors that one controller at a time may drive, and that controller. Clients share it; it is replaced
// while none of them is in a call.
struct Group {
    std::vector<int> sensors;
    std::shared_mutex inCall;
    std::shared_ptr<NSCam::IPowerOnOffController> controller;

    void replaceController() {
        std::lock_guard const alone(inCall);
        controller.reset();
        controller = NSCam::IPowerOnOffController::create({.sensorIds = sensors});
    }
};

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
    StormTest() {
        for (int sensor = 0; sensor < kGroups * kSensorsOfAGroup; ++sensor) {
            mSettings.sensors[sensor];
            mGroups[static_cast<std::size_t>(sensor / kSensorsOfAGroup)].sensors.push_back(sensor);
        }
        mSettings.log.mode = 0;
    }
    void SetUp() override {
        PowerTest::SetUp();
        for (Group& group : mGroups) group.replaceController();
    }
    void TearDown() override {
        for (Group& group : mGroups) group.controller.reset();
        PowerTest::TearDown();
    }

    void playClient(unsigned int seed) {
        std::mt19937 random(seed);
        for (int request = 0; request < kRequestsOfABatch; ++request) {
            Group& group = mGroups[random() % kGroups];
            if (random() % 16 == 0) group.replaceController();
            std::shared_lock const call(group.inCall);
            std::vector<int> sensors = group.sensors;
            std::shuffle(sensors.begin(), sensors.end(), random);
            sensors.resize(1 + random() % sensors.size());
            switch (random() % 5) {
                case 0:
                    group.controller->getStatus();
                    break;
                case 1:
                case 2:
                    group.controller->powerOff(sensors);
                    break;
                default:
                    group.controller->powerOn(sensors);
                    break;
            }
        }
    }

    // Clients and waiters at once; in the end every sensor is off, so that every waiter returns.
    void playBatch(unsigned int seed) {
        std::vector<std::unique_ptr<Background>> threads;
        threads.push_back(
            std::make_unique<Background>([] { NSCam::IPowerOnOffController::waitSensorsPowerOff(); }));
        std::vector<std::unique_ptr<Background>> clients;
        for (unsigned int client = 0; client < kClients; ++client) {
            clients.push_back(
                std::make_unique<Background>([this, seed, client] { playClient(seed + client); }));
        }
        clients.clear();
        for (Group& group : mGroups) group.controller->powerOff(group.sensors);
    }

    // Every power-on of a sensor is followed by its power-off and every power-off follows a power-on.
    void checkBatch() {
        auto const told = entries();
        std::map<int, bool> powered;
        for (Entry const& entry : told) {
            if (entry.kind == Kind::SensorPowerOn) {
                ASSERT_FALSE(powered[entry.sensor]) << "sensor " << entry.sensor << " powered on twice";
                powered[entry.sensor] = true;
            } else if (entry.kind == Kind::SensorPowerOff) {
                ASSERT_TRUE(powered[entry.sensor]) << "sensor " << entry.sensor << " powered off twice";
                powered[entry.sensor] = false;
                ++mCycles;
            }
        }
        for (auto const& [sensor, isPowered] : powered) ASSERT_FALSE(isPowered) << "sensor " << sensor;
        ASSERT_EQ(board().openHandles(), 0);
        ASSERT_EQ(board().openServices(), 0);
        journal().clear();
    }

    std::array<Group, kGroups> mGroups;
    unsigned long mCycles = 0;
};

TEST_F(StormTest, LosesNothingAndLeavesNothing) {
    char const* const asked = std::getenv("ZEQCAM_STORM_CYCLES");
    unsigned long const cycles = asked != nullptr ? std::strtoul(asked, nullptr, 10) : 4000;
    auto const playUntil = [this](unsigned long end) {
        while (mCycles < end && !HasFatalFailure()) {
            playBatch(static_cast<unsigned int>(mCycles));
            checkBatch();
        }
    };
    playUntil(1000);
    Footprint const early = Footprint::now();
    playUntil(cycles);
    awaitThreads(early.threads);
    Footprint const late = Footprint::now();
    std::cout << "power cycles: " << mCycles << "; after 1,000 and now: heap " << early.heapKiB << " and "
              << late.heapKiB << " KiB, resident " << early.residentKiB << " and " << late.residentKiB
              << " KiB\n";
    EXPECT_LE(late.threads, early.threads);
    EXPECT_EQ(late.descriptors, early.descriptors);
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)  // they keep freed memory on purpose
    EXPECT_LE(late.heapKiB, early.heapKiB + 64);
    EXPECT_LE(late.residentKiB, early.residentKiB + 2048);  // heaps of threads that have ended stay in pieces
#endif
}

}  // namespace
}  // namespace zeqcam::tests
