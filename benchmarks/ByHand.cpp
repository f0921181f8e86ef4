#include "ByHand.h"

#include "diagnostics/Trace.h"

#include <zeqcam/platform/Performance.h>

#include <sys/resource.h>

#include <algorithm>
#include <cstdint>
#include <map>
#include <numeric>
#include <stdexcept>
#include <thread>
#include <utility>

#ifdef ZEQCAM_HAVE_TBB
#include <tbb/task_group.h>
#endif

namespace zeqcam::benchmarks {
namespace {

using NSCam::CTM::CentralTaskMgr;
using Section = NSCam::diagnostics::ScopedTrace;

constexpr char const* kCaller = "zeqcam-PowerOnOffController";
constexpr unsigned int kPostValue = 1;

// The kinds of calls that each thread made, in order. When a task has ended is noted after whoever waits for
// it goes on, so it is left out.
std::vector<std::vector<board::Kind>> callsOf(board::Journal& journal, std::function<void()> const& cycle) {
    journal.clear();
    cycle();
    std::map<int, std::vector<board::Kind>> threads;
    for (auto const& entry : journal.entries()) {
        if (entry.kind != board::Kind::TaskRunDone) threads[entry.thread].push_back(entry.kind);
    }
    std::vector<std::vector<board::Kind>> calls;
    for (auto& [thread, kinds] : threads) calls.push_back(std::move(kinds));
    std::sort(calls.begin(), calls.end());
    return calls;
}

}  // namespace

ByHand::ByHand(std::vector<int> ids)
    : mIds(std::move(ids)), mQueue(CentralTaskMgr::createQueue({.name = "byHand", .type = 0})) {}

void ByHand::powerOn(Run& run, Hints hints) {
    int const nice = getpriority(PRIO_PROCESS, 0);
    if (hints == Hints::Given) setpriority(PRIO_PROCESS, 0, -20);
    Section const section("LogicalDev powerOn");
    if (hints == Hints::Given) {
        mQosLine.write();
        C2PSMachine::markCriticalTask();
    }
    NSCam::Utils::CamProfile const profile("powerOnOps", kCaller);

    std::vector<Record*> records;
    records.reserve(mIds.size());
    for (int const id : mIds) {
        auto record = std::make_shared<Record>();
        record->id = static_cast<unsigned int>(id);
        record->sensor = NSCam::IHalSensorList::get()->createSensor(kCaller, id);
        records.push_back(record.get());
        mRecords.insert_or_assign(record->id, std::move(record));
    }
    NSCam::IPowerBudgetHelper::getInstance()->requestBudget();
    run(records.size(), [&](std::size_t i) { powerOnSensor(*records[i], profile, hints); });
    profile.print("Sensor powerOn -");

    for (std::size_t i = 0; i < records.size(); ++i) Section const notification("3A notifyPowerOn");
    profile.print("3A notifyPowerOn -");
    if (hints == Hints::Given) setpriority(PRIO_PROCESS, 0, nice);
}

void ByHand::powerOnSensor(Record& record, NSCam::Utils::CamProfile const& profile, Hints hints) const {
    Section const section("powerOnSensor");
    if (hints == Hints::Given) {
        zeqcam_perfctrl_set_affinity();
        mQosLine.write();
        C2PSMachine::markCriticalTask();
    }

    if (record.sensor->powerOn(kCaller, 1, &record.id) == 0) return;
    {
        Section const init("init()::IPeripheralController");
        record.peripheral = zeq::hal3a::IPeripheralController::GetInstance(record.id);
        Section const notification("IPeripheralController::notifyPowerOn");
        record.peripheral->notifyPowerOn();
    }
    {
        Section const init("init()::hal3a");
        record.hal3a = zeq::hal3a::IHal3AAssist::createInstance(record.id);
        Section const notification("hal3a::notifyPowerOn");
        record.hal3a->notifyPowerOn();
    }
    profile.print("Hal3A -");
    record.sensor->afterPowerOn(kCaller, record.id);
}

void ByHand::powerOff() {
    if (mRecords.empty()) return;
    Section const section("LogicalDev powerOff");
    std::vector<std::shared_ptr<std::packaged_task<void()>>> tasks;
    tasks.reserve(mIds.size());
    for (int const id : mIds) {
        Record const& record = *mRecords.at(static_cast<unsigned int>(id));
        tasks.push_back(std::make_shared<std::packaged_task<void()>>([&record] { powerOffSensor(record); }));
    }
    if (tasks.size() == 1) {
        (*tasks.front())();
    } else {
        runOnQueue(tasks);
    }
    for (int const id : mIds) {
        auto const record = mRecords.find(static_cast<unsigned int>(id));
        record->second->peripheral.reset();
        record->second->hal3a.reset();
        record->second->sensor->release(kCaller);
        mRecords.erase(record);
    }
}

void ByHand::runOnQueue(std::vector<std::shared_ptr<std::packaged_task<void()>>> const& tasks) {
    std::vector<std::shared_future<void>> ends;
    ends.reserve(tasks.size());
    for (auto const& task : tasks) {
        std::shared_future<void> const end = task->get_future().share();
        auto function = std::make_unique<std::function<void()>>([task] { (*task)(); });
        auto const handle = CentralTaskMgr::_asyncPost(mQueue, kPostValue, function);
        handle->setFuture(end);
        ends.push_back(handle->getFuture());
    }
    for (auto const& end : ends) end.wait();
}

void ByHand::powerOffSensor(Record const& record) {
    Section const section("powerOff");
    {
        Section const notification("3A notifyPowerOff");
        record.hal3a->notifyPowerOff();
    }
    {
        Section const notification("CamHw notifyPowerOff");
        record.peripheral->notifyPowerOff();
    }
    record.sensor->powerOff(kCaller, 1, &record.id);
}

void onPlainThreads(std::size_t count, std::function<void(std::size_t)> const& job) {
    std::vector<std::future<void>> ends;
    ends.reserve(count);
    for (std::size_t i = 0; i < count; ++i) {
        std::promise<void> end;
        ends.push_back(end.get_future());
        std::thread([&job, i, end = std::move(end)]() mutable {
            job(i);
            end.set_value();
        }).detach();
    }
    for (auto const& end : ends) end.wait();
}

void oneAfterAnother(std::size_t count, std::function<void(std::size_t)> const& job) {
    for (std::size_t i = 0; i < count; ++i) job(i);
}

#ifdef ZEQCAM_HAVE_TBB
void inTaskGroup(std::size_t count, std::function<void(std::size_t)> const& job) {
    tbb::task_group group;
    for (std::size_t i = 0; i < count; ++i) group.run([&job, i] { job(i); });
    group.wait();
}
#endif

std::vector<int> idsFrom(int first, int count) {
    std::vector<int> ids(static_cast<std::size_t>(count));
    std::iota(ids.begin(), ids.end(), first);
    return ids;
}

std::shared_ptr<QuietBoard> boardOf(int sensors, std::chrono::microseconds powerOnTime) {
    board::Settings settings = deviceSettings();
    for (int const id : idsFrom(0, sensors)) settings.sensors[id].powerOnTime = powerOnTime;
    return std::make_shared<QuietBoard>(std::move(settings));
}

PowerBench::PowerBench(std::shared_ptr<QuietBoard> standing, std::vector<int> sensorIds)
    : board(std::move(standing)),
      ids(std::move(sensorIds)),
      controller(NSCam::IPowerOnOffController::create({.sensorIds = ids})),
      byHand(ids) {}

void checkSameCalls() {
    for (int const sensors : {1, 3}) {
        PowerBench bench(boardOf(sensors), idsFrom(0, sensors));
        bench.board->get().change([](board::Settings& now) { now.traceTags = 0x400; });
        auto const libraryCycle = [&] {
            bench.controller->powerOn(bench.ids);
            bench.controller->powerOff(bench.ids);
        };
        libraryCycle();  // the first hint of a process opens the QoS file
        board::Journal& journal = bench.board->get().journal();
        journal.setOn(true);
        auto const library = callsOf(journal, libraryCycle);
        auto const byHand = callsOf(journal, [&] {
            bench.byHand.powerOn(onPlainThreads);
            bench.byHand.powerOff();
        });
        if (library != byHand) {
            throw std::logic_error("a cycle by hand makes other platform calls than the library");
        }
    }
}

}  // namespace zeqcam::benchmarks
