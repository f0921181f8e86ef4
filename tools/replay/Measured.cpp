#include "replay/Measured.h"

#include "analysis/Attribution.h"
#include "analysis/SensorNames.h"
#include "evidence/Signs.h"

#include <algorithm>
#include <cstddef>
#include <string_view>
#include <utility>

namespace zeqcam::tool {
namespace {

using board::Kind;

constexpr KindSet kLines{Kind::UnifiedLog, Kind::DebugPrint, Kind::AndroidLog};

// A thread's open sections and call, and the sensor that they are of.
struct Thread {
    struct Open {
        Saying saying;
        Instant since;
        bool isTold = false;  // the service that it asks for was there
    };
    std::vector<Open> open;
    std::optional<std::pair<int, Instant>> call;
    std::optional<int> sensor;  // of the worker or task
};

class SensorMeasure {
  public:
    explicit SensorMeasure(Record const& record) : mRecord(record), mThreads(record.threads.size()) {
        for (Record::Sensor const& sensor : record.sensors) mSensors[sensor.id];
    }

    void see(Event const& event) {
        Thread& thread = mThreads[event.thread];
        switch (event.kind) {
            case Kind::SensorPowerOn:
            case Kind::SensorPowerOff:
                if (event.sensor) thread.call = std::pair(*event.sensor, event.time);
                return;
            case Kind::SensorPowerOnDone:
            case Kind::SensorPowerOffDone:
                if (thread.call) {
                    MeasuredSensor& sensor = mSensors[thread.call->first];
                    bool const isOn = event.kind == Kind::SensorPowerOnDone;
                    (isOn ? sensor.on : sensor.off).add(event.time - thread.call->second);
                    thread.call.reset();
                }
                return;
            case Kind::TraceBegin:
                return begin(thread, event);
            case Kind::TraceEnd:
                return end(thread, event);
            case Kind::UnifiedLog:
            case Kind::DebugPrint:
                return line(event);
            default:
                return;
        }
    }

    std::map<int, MeasuredSensor> take() { return std::move(mSensors); }

  private:
    void line(Event const& event) {
        auto const sign = signOfLine(mRecord.textOf(event.text), mRecord.textOf(event.shown));
        if (!sign || !sign->sensor) return;
        if (sign->saying == Saying::NoPeripheral) mSensors[*sign->sensor].peripheral.isAbsent = true;
        if (sign->saying == Saying::No3A) mSensors[*sign->sensor].hal3a.isAbsent = true;
    }

    void begin(Thread& thread, Event const& event) {
        std::string_view const label = mRecord.textOf(event.text);
        auto const sign = signOfSection(label);
        Saying const saying = sign ? sign->saying : Saying::Other;
        if (saying == Saying::WorkerSection || saying == Saying::TaskSection)
            thread.sensor = sign->sensor ? sign->sensor : sensorNamed(sign->sensorName);
        bool const isTold = saying == Saying::PeripheralOnSection || saying == Saying::Hal3AOnSection;
        if (isTold && !thread.open.empty()) thread.open.back().isTold = true;
        thread.open.push_back({saying, event.time});
    }

    void end(Thread& thread, Event const& event) {
        if (thread.open.empty()) return;
        Thread::Open const section = thread.open.back();
        thread.open.pop_back();
        if (!thread.sensor) return;
        MeasuredSensor& sensor = mSensors[*thread.sensor];
        auto const took = event.time - section.since;
        auto const asked = [&](MeasuredService& service) {
            if (!section.isTold) service.isAbsent = true;
        };
        if (section.saying == Saying::PeripheralInitSection) asked(sensor.peripheral);
        if (section.saying == Saying::Hal3AInitSection) asked(sensor.hal3a);
        if (section.saying == Saying::PeripheralOnSection) sensor.peripheral.on.add(took);
        if (section.saying == Saying::PeripheralOffSection) sensor.peripheral.off.add(took);
        if (section.saying == Saying::Hal3AOnSection) sensor.hal3a.on.add(took);
        if (section.saying == Saying::Hal3AOffSection) sensor.hal3a.off.add(took);
        if (section.saying == Saying::WorkerSection || section.saying == Saying::TaskSection)
            thread.sensor.reset();
    }

    [[nodiscard]] std::optional<int> sensorNamed(std::string_view name) const {
        for (Record::Sensor const& sensor : mRecord.sensors) {
            if (mRecord.textOf(sensor.name) == name) return sensor.id;
        }
        return {};
    }

    Record const& mRecord;
    std::vector<Thread> mThreads;
    std::map<int, MeasuredSensor> mSensors;
};

void readLine(Sign const& sign, Instant time, MeasuredRequest& request) {
    int const sensor = sign.sensor.value_or(0);
    switch (sign.saying) {
        case Saying::PowerOnBegins:
        case Saying::PowerOffBegins:
            if (!request.worked) request.worked = time;
            break;
        case Saying::LockReleased:
            request.isLockReleased = true;
            break;
        case Saying::NotQueued:
            request.isNotQueued = true;
            break;
        case Saying::NoSensorList:
            request.hadNoSensorList = true;
            break;
        case Saying::NotDriven:
            request.notDriven.insert(sensor);
            break;
        case Saying::Skipped:
            request.skipped.insert(sensor);
            break;
        case Saying::NoHandle:
            request.withoutHandle.insert(sensor);
            break;
        default:
            break;
    }
}

// A trace shows the work on each sensor: one that is off and has none, in a request that succeeds, is not of
// the request's controller.
void findNotDriven(Record const& record, std::vector<MeasuredRequest>& requests) {
    if (!record.shows.contains(Kind::TraceBegin)) return;
    std::set<int> on;
    for (std::size_t index = 0; index < requests.size(); ++index) {
        Request const& request = record.requests[index];
        MeasuredRequest& measured = requests[index];
        if (request.kind != RequestKind::PowerOn) {
            for (int const sensor : measured.powered) on.erase(sensor);
            continue;
        }
        for (int const sensor : request.sensors.value_or(std::vector<int>())) {
            bool const isServed = measured.powered.contains(sensor) || measured.skipped.contains(sensor) ||
                                  on.contains(sensor) || !request.result.value_or(false);
            if (!isServed) measured.notDriven.insert(sensor);
        }
        on.insert(measured.powered.begin(), measured.powered.end());
    }
}

}  // namespace

void MeasuredTimes::add(std::chrono::nanoseconds time) {
    auto const rounded = std::chrono::round<std::chrono::microseconds>(time);
    mLeast = mCount == 0 ? rounded : std::min(mLeast, rounded);
    mMost = mCount == 0 ? rounded : std::max(mMost, rounded);
    ++mCount;
}

std::map<int, MeasuredSensor> measure(Record const& record) {
    SensorMeasure measured(record);
    for (Event const& event : record.events) measured.see(event);
    return measured.take();
}

std::vector<MeasuredRequest> measureRequests(Record const& record) {
    std::vector<MeasuredRequest> requests(record.requests.size());
    auto const attribution = attributionOf(record);
    for (std::size_t index = 0; index < record.events.size(); ++index) {
        if (!attribution[index]) continue;
        Event const& event = record.events[index];
        MeasuredRequest& request = requests[*attribution[index]];
        if (kLines.contains(event.kind)) {
            if (auto const sign = signOfLine(record.textOf(event.text), record.textOf(event.shown)))
                readLine(*sign, event.time, request);
        }
        bool const isRequest =
            event.kind == Kind::TraceBegin && record.textOf(event.text).starts_with("LogicalDev ");
        if (isRequest && !request.worked) request.worked = event.time;
        if (!event.sensor) continue;
        if (event.kind == Kind::SensorPowerOn || event.kind == Kind::SensorPowerOff) {
            request.powered.insert(*event.sensor);
            request.hanging.insert(*event.sensor);
        }
        bool const isEnd = event.kind == Kind::SensorPowerOnDone || event.kind == Kind::SensorPowerOffDone;
        if (isEnd) request.hanging.erase(*event.sensor);
        if (isEnd && event.number.value_or(1) == 0) request.failed.insert(*event.sensor);
    }
    findNotDriven(record, requests);
    return requests;
}

}  // namespace zeqcam::tool
