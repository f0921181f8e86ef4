#include "analysis/Doings.h"

#include "analysis/SectionOpening.h"
#include "analysis/SensorNames.h"
#include "evidence/Signs.h"

#include <algorithm>

namespace zeqcam::tool {
namespace {

using board::Kind;

// What a thread has begun and not ended.
struct Frame {
    Kind begun;
    Done done;
    bool isDecisive = false;  // all that happens in it belongs to it
};
using Frames = std::vector<Frame>;

std::optional<Doing> serviceOf(Saying saying) {
    switch (saying) {
        case Saying::PeripheralInitSection:
        case Saying::PeripheralOnSection:
        case Saying::PeripheralOffSection:
            return Doing::Peripheral;
        case Saying::Hal3AInitSection:
        case Saying::Hal3AOnSection:
        case Saying::Hal3AOffSection:
            return Doing::Hal3A;
        case Saying::NotifyOnSection:
            return Doing::Listener;
        default:
            return {};
    }
}

std::optional<int> sensorAround(Frames const& frames) {
    for (auto frame = frames.rbegin(); frame != frames.rend(); ++frame) {
        if (frame->done.sensor) return frame->done.sensor;
    }
    return {};
}

Frame sectionFrame(Record const& record, Event const& event, Frames const& around) {
    std::string_view const label = record.textOf(event.text);
    auto const sign = signOfSection(label);
    auto const service = sign ? serviceOf(sign->saying) : std::nullopt;
    auto const sensor = sensorLabel(record, label).sensor;
    return {Kind::TraceBegin,
            {service.value_or(Doing::Own), sensor ? sensor : sensorAround(around)},
            service.has_value()};
}

std::optional<Frame> frameBegunBy(Record const& record, Event const& event, Frames const& around) {
    switch (event.kind) {
        case Kind::TraceBegin:
            return sectionFrame(record, event, around);
        case Kind::SensorPowerOn:
            return Frame{event.kind, {Doing::SensorOn, event.sensor}, true};
        case Kind::SensorPowerOff:
            return Frame{event.kind, {Doing::SensorOff, event.sensor}, true};
        case Kind::QosWrite:
            return Frame{event.kind, {Doing::Hints, {}}, true};
        default:
            return {};
    }
}

std::optional<Kind> frameEndedBy(Kind end) {
    return end == Kind::QosWriteDone ? Kind::QosWrite : beginOf(end);
}

// What the time before a call went to that no frame tells of: most are written when they return.
std::optional<Doing> callOf(Kind kind) {
    switch (kind) {
        case Kind::Affinity:
        case Kind::CriticalTask:
        case Kind::QosOpen:
        case Kind::QosWrite:
        case Kind::QosClose:
            return Doing::Hints;
        case Kind::SensorListGet:
        case Kind::SensorCreate:
        case Kind::SensorRelease:
            return Doing::Handles;
        case Kind::PowerBudgetGet:
        case Kind::PowerBudget:
            return Doing::Budget;
        case Kind::Hal3AGet:
        case Kind::Hal3APowerOn:
        case Kind::Hal3APowerOff:
        case Kind::Hal3ARelease:
            return Doing::Hal3A;
        case Kind::PeripheralGet:
        case Kind::PeripheralPowerOn:
        case Kind::PeripheralPowerOff:
        case Kind::PeripheralRelease:
            return Doing::Peripheral;
        case Kind::ExceptionReport:
            return Doing::Report;
        default:
            return {};
    }
}

class DoingReader {
  public:
    explicit DoingReader(Record const& record)
        : mRecord(record),
          // Without these, whatever has no sign of its own may have been anything.
          mOwn(record.shows.contains({Kind::TraceBegin, Kind::SensorPowerOn, Kind::SensorPowerOff})
                   ? Doing::Own
                   : Doing::Unknown),
          mThreads(record.threads.size()) {}

    Doings read() {
        Doings doings;
        doings.before.reserve(mRecord.events.size());
        for (Event const& event : mRecord.events) {
            Frames& frames = mThreads[event.thread];
            doings.before.push_back(before(frames, &event));
            follow(frames, event);
        }
        for (Frames const& frames : mThreads) doings.after.push_back(before(frames, nullptr));
        return doings;
    }

  private:
    [[nodiscard]] Done before(Frames const& frames, Event const* event) const {
        auto const decisive =
            std::find_if(frames.rbegin(), frames.rend(), [](Frame const& frame) { return frame.isDecisive; });
        if (decisive != frames.rend()) {
            Done done = decisive->done;
            if (event && event->kind == Kind::SupplyGiven) done.what = Doing::Supply;
            if (!done.sensor && event) done.sensor = event->sensor;
            return done;
        }
        auto const call = event ? callOf(event->kind) : std::nullopt;
        if (!call) return {mOwn, {}};
        bool const isOfSensor = call == Doing::Hal3A || call == Doing::Peripheral;
        return {*call, isOfSensor ? event->sensor : std::nullopt};
    }

    // What its end does not show has ended with what is around it, and with the thread's next request.
    void follow(Frames& frames, Event const& event) const {
        if (event.kind == Kind::Request || event.kind == Kind::TaskRun) frames.clear();
        if (auto frame = frameBegunBy(mRecord, event, frames)) frames.push_back(*frame);
        auto const begun = frameEndedBy(event.kind);
        if (!begun) return;
        auto const found = std::find_if(frames.rbegin(), frames.rend(),
                                        [&](Frame const& frame) { return frame.begun == *begun; });
        if (found != frames.rend()) frames.erase(std::prev(found.base()), frames.end());
    }

    Record const& mRecord;
    Doing const mOwn;
    std::vector<Frames> mThreads;
};

}  // namespace

std::string doneText(Record const& record, Done const& done) {
    auto const of = [&](char const* what) {
        return (done.sensor ? sensorWord(record, *done.sensor) : "a sensor") + "'s " + what;
    };
    switch (done.what) {
        case Doing::Own:
            return "the library itself";
        case Doing::Hints:
            return "performance hints";
        case Doing::Handles:
            return "the sensors' handles";
        case Doing::Budget:
            return "the power budget";
        case Doing::SensorOn:
            return of("power-on");
        case Doing::SensorOff:
            return of("power-off");
        case Doing::Supply:
            return of("supply");
        case Doing::Hal3A:
            return of("3A control");
        case Doing::Peripheral:
            return of("peripheral controller");
        case Doing::Listener:
            return "the listeners' notification";
        case Doing::Report:
            return "the exception report";
        case Doing::Unknown:
            return "unknown";
    }
    return "?";
}

std::string_view kindOf(Doing doing) {
    switch (doing) {
        case Doing::Own:
            return "library";
        case Doing::Hints:
            return "hints";
        case Doing::Handles:
            return "handles";
        case Doing::Budget:
            return "power budget";
        case Doing::SensorOn:
            return "sensor power-on";
        case Doing::SensorOff:
            return "sensor power-off";
        case Doing::Supply:
            return "supply";
        case Doing::Hal3A:
            return "hal3a";
        case Doing::Peripheral:
            return "peripheral";
        case Doing::Listener:
            return "listeners";
        case Doing::Report:
            return "exception report";
        case Doing::Unknown:
            return "unknown";
    }
    return "?";
}

Doings doingsOf(Record const& record) {
    return DoingReader(record).read();
}

}  // namespace zeqcam::tool
