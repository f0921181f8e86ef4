#pragma once

#include "QosLine.h"
#include "QuietBoard.h"

#include <zeqcam/IPowerOnOffController.h>
#include <zeqcam/platform/CamProfile.h>
#include <zeqcam/platform/CentralTaskMgr.h>
#include <zeqcam/platform/Hal3A.h>
#include <zeqcam/platform/IHalSensor.h>

#include <chrono>
#include <cstddef>
#include <functional>
#include <future>
#include <memory>
#include <unordered_map>
#include <vector>

namespace zeqcam::benchmarks {

// Power cycles of fixed sensors written by hand: the library's platform calls, in the same order on each
// thread, and a record for each sensor from its power-on to its power-off. It leaves out what the library
// adds and should cost next to nothing: states, locks, log statements, listeners behind an interface, the
// sensor's id in a section's label, and every failure.
class ByHand {
  public:
    explicit ByHand(std::vector<int> ids);
    ~ByHand() { powerOff(); }
    ByHand(ByHand const&) = delete;
    ByHand& operator=(ByHand const&) = delete;

    // How the jobs 0 to `count` - 1 are run.
    using Run = void(std::size_t count, std::function<void(std::size_t)> const& job);
    // Whether the threads are given what makes the scheduler prefer them.
    enum class Hints { Given, None };
    void powerOn(Run& run, Hints hints = Hints::Given);

    // One sensor on the calling thread, more on the task queue.
    void powerOff();

  private:
    struct Record {
        unsigned int id = 0;
        NSCam::IHalSensor* sensor = nullptr;
        std::shared_ptr<zeq::hal3a::IHal3AAssist> hal3a;
        std::shared_ptr<zeq::hal3a::IPeripheralController> peripheral;
    };

    void powerOnSensor(Record& record, NSCam::Utils::CamProfile const& profile, Hints hints) const;
    static void powerOffSensor(Record const& record);
    void runOnQueue(std::vector<std::shared_ptr<std::packaged_task<void()>>> const& tasks);

    std::vector<int> const mIds;
    std::unordered_map<unsigned int, std::shared_ptr<Record>> mRecords;
    std::shared_ptr<NSCam::CTM::TaskQueue> mQueue;
    QosLine mQosLine;
};

ByHand::Run onPlainThreads;
ByHand::Run oneAfterAnother;
ByHand::Run inTaskGroup;  // where oneTBB is installed

// Sensors of a board that stands, for a controller of the library and for cycles by hand.
struct PowerBench {
    PowerBench(std::shared_ptr<QuietBoard> standing, std::vector<int> sensorIds);

    std::shared_ptr<QuietBoard> const board;
    std::vector<int> const ids;
    std::shared_ptr<NSCam::IPowerOnOffController> const controller;
    ByHand byHand;
};

std::vector<int> idsFrom(int first, int count);
std::shared_ptr<QuietBoard> boardOf(int sensors, std::chrono::microseconds powerOnTime = {});

// Throws when a cycle by hand makes other platform calls than the library's: it would be no floor.
void checkSameCalls();

}  // namespace zeqcam::benchmarks
