#include "rules/Workers.h"

#include "analysis/SensorNames.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace zeqcam::tool {
namespace {

using board::Kind;

// What a thread has done as the worker that it is now. The kernel gives an ended worker's id to another one:
// hints that follow a power-on are a new worker's if a request has begun meanwhile.
struct Worker {
    bool hasAffinity = false;
    bool isCritical = false;
    std::optional<std::uint32_t> poweredOn;  // index of the event
    std::size_t requestsThen = 0;            // that had begun at the power-on

    [[nodiscard]] bool hasHints() const { return hasAffinity && isCritical; }
};

// Shows each power-on of a sensor to `see`, with what its thread had done before.
template <class See>
void forEachPowerOn(Record const& record, See const& see) {
    std::vector<Worker> workers(record.threads.size());
    std::size_t requests = 0;
    for (std::uint32_t index = 0; index < record.events.size(); ++index) {
        Event const& event = record.events[index];
        Worker& worker = workers[event.thread];
        if (event.kind == Kind::Request) ++requests;
        bool const isHint = event.kind == Kind::Affinity || event.kind == Kind::CriticalTask;
        if (isHint && worker.poweredOn && worker.requestsThen != requests) worker = {};
        if (event.kind == Kind::Affinity) worker.hasAffinity = true;
        if (event.kind == Kind::CriticalTask) worker.isCritical = true;
        if (event.kind != Kind::SensorPowerOn) continue;
        see(index, worker);
        worker.poweredOn = index;
        worker.requestsThen = requests;
    }
}

}  // namespace

std::vector<Breach> sensorsBeforeHints(Record const& record) {
    std::vector<Breach> breaches;
    forEachPowerOn(record, [&](std::uint32_t index, Worker const& worker) {
        if (worker.hasHints()) return;
        breaches.push_back(
            {sensorPhrase(record, record.events[index].sensor) + " is powered on before the hints", {index}});
    });
    return breaches;
}

std::vector<Breach> workersOfSeveralSensors(Record const& record) {
    std::vector<Breach> breaches;
    forEachPowerOn(record, [&](std::uint32_t index, Worker const& worker) {
        if (!worker.poweredOn) return;
        breaches.push_back({sensorPhrase(record, record.events[index].sensor) +
                                " is powered on by the worker of " +
                                sensorPhrase(record, record.events[*worker.poweredOn].sensor),
                            {*worker.poweredOn, index}});
    });
    return breaches;
}

std::vector<Breach> callsAfterNoPowerOn(Record const& record) {
    std::vector<Breach> breaches;
    std::vector<std::optional<std::int32_t>> up(record.threads.size());  // by each thread's last power-on
    for (std::uint32_t index = 0; index < record.events.size(); ++index) {
        Event const& event = record.events[index];
        if (event.kind == Kind::SensorPowerOn) up[event.thread] = {};
        if (event.kind == Kind::SensorPowerOnDone && event.number.value_or(1) != 0)
            up[event.thread] = event.sensor;
        if (event.kind != Kind::SensorAfterPowerOn || up[event.thread] == event.sensor) continue;
        breaches.push_back(
            {sensorPhrase(record, event.sensor) + " has its call after a power-on that did not succeed",
             {index}});
    }
    return breaches;
}

}  // namespace zeqcam::tool
