// What RecordMaker makes of sections: requests, workers and tasks.
#include "evidence/RecordMaker.h"
#include "evidence/TraceValues.h"
#include "text/TimeText.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <limits>

namespace zeqcam::tool {
namespace {

using board::Kind;

constexpr std::string_view kQueue = "powerOnOffCtrl";

bool contains(std::vector<int> const& sensors, int sensor) {
    return std::find(sensors.begin(), sensors.end(), sensor) != sensors.end();
}

std::optional<std::int32_t> idOf(std::string_view name) {
    constexpr std::string_view kDefault = "sensor ";
    if (name.starts_with(kDefault)) name.remove_prefix(kDefault.size());
    std::int32_t id = 0;
    auto const [rest, error] = std::from_chars(name.data(), name.data() + name.size(), id);
    bool const isId = error == std::errc() && rest == name.data() + name.size();
    return isId ? std::optional(id) : std::nullopt;
}

// A section's label as the library writes it, which widens ids and writes them unsigned.
std::string labelOf(Saying saying, std::int32_t sensor) {
    return (saying == Saying::WorkerSection ? "powerOnSensor: " : "powerOff: ") +
           std::to_string(static_cast<std::uint64_t>(static_cast<std::int64_t>(sensor)));
}

// Until lines tell the id of a sensor that is known by its name.
constexpr std::int32_t kFirstUnknown = std::numeric_limits<std::int32_t>::min() + 1;

}  // namespace

std::int32_t RecordMaker::sensorOf(std::string_view name) {
    if (auto const id = idOf(name)) return *id;
    auto const next = kFirstUnknown + static_cast<std::int32_t>(mSensorNames.size());
    return mSensorNames.emplace(std::string(name), next).first->second;
}

std::int32_t RecordMaker::sensorOf(std::string const& name, std::optional<std::int32_t> id) {
    if (!id) return sensorOf(name);
    // A sensor without a name is called by its id.
    if (idOf(name) != id) mNamesOfIds.emplace(*id, name);
    return *id;
}

// Its name, where nothing but that tells which it is.
std::string RecordMaker::wordOf(std::int32_t sensor) const {
    auto const named = std::find_if(mSensorNames.begin(), mSensorNames.end(),
                                    [sensor](auto const& known) { return known.second == sensor; });
    return named != mSensorNames.end() ? named->first : std::to_string(sensor);
}

void RecordMaker::seeBegin(ThreadState& thread, Sighting const& sighting) {
    thread.debugPrint = TextId::Empty;
    std::string_view const category = mRecord.textOf(sighting.tag);
    if (category == "request" || category == "wait" || category == "sensor")
        return seeOwnSection(thread, sighting, category);
    auto const sign = signOfSection(mRecord.textOf(sighting.text));
    if (!sign) return;
    mReach.sections = true;
    bool const isOwn = category == "section";
    OpenSection section{sign->saying, sighting.text};
    std::int32_t sensor = sign->sensor.value_or(0);
    TraceValues const values = isOwn ? traceValuesOf(mRecord.textOf(sighting.values)) : TraceValues();
    section.hadNotEnded = values.open;
    if (values.sensor && values.sensor->id) {
        sensor = sensorOf(values.sensor->name, values.sensor->id);
        section.label = mRecord.texts.add(labelOf(sign->saying, sensor));
    } else if (!sign->sensorName.empty()) {
        sensor = sensorOf(sign->sensorName);
    }
    bool const endsController = !thread.work && !thread.request;
    switch (sign->saying) {
        case Saying::PowerOnSection:
            draftOf(thread, RequestKind::PowerOn, &Draft::hasSection);
            break;
        case Saying::PowerOffSection:
            draftOf(thread, RequestKind::PowerOff, &Draft::hasSection);
            break;
        case Saying::WorkerSection:
        case Saying::TaskSection:
            if (sighting.other != 0) thread.worksFor = threadOf(sighting.other).request;
            beginWork(thread, sign->saying, sensor, true);
            if (isOwn) thread.work->hasCall = thread.work->hasEnd = true;
            break;
        case Saying::PeripheralInitSection:
            addCallEnd(thread, 1);
            break;
        case Saying::NotifyOnSection:
            if (thread.request) mDrafts[*thread.request].isNotified = true;
            break;
        case Saying::Hal3AOffSection:
        case Saying::PeripheralOffSection:
            if (endsController) newDraft(thread, RequestKind::Destroy);
            break;
        default:
            break;
    }
    Event& event = add(thread, Kind::TraceBegin);
    event.text = section.label;
    thread.open.push_back(section);
    if (sign->saying == Saying::PeripheralOnSection) tellService(thread, Kind::PeripheralPowerOn);
    if (sign->saying == Saying::Hal3AOnSection) tellService(thread, Kind::Hal3APowerOn);
    if (sign->saying == Saying::PeripheralOffSection) tellService(thread, Kind::PeripheralPowerOff);
    if (sign->saying == Saying::Hal3AOffSection) tellService(thread, Kind::Hal3APowerOff);
    touch(thread);
}

void RecordMaker::seeEnd(ThreadState& thread) {
    thread.debugPrint = TextId::Empty;
    if (thread.open.empty()) return;
    OpenSection const section = thread.open.back();
    thread.open.pop_back();
    if (section.isRequest) return endOwnRequest(thread, section);
    if (section.hadNotEnded) return;
    if (section.isCall) {
        Event& done = add(thread, section.powersOn ? Kind::SensorPowerOnDone : Kind::SensorPowerOffDone);
        done.sensor = section.sensor;
        done.number = section.isFailure ? 0 : 1;
        return;
    }
    bool const isWork = section.saying == Saying::WorkerSection || section.saying == Saying::TaskSection;
    if (isWork) endWork(thread);
    if (thread.work) {
        thread.work->at = mOrder;
        thread.work->time = mNow;
    }
    add(thread, Kind::TraceEnd).text = section.label;
    if (isWork && thread.isTask) add(thread, Kind::TaskRunDone).text = mRecord.texts.add(kQueue);
    if (isWork) {
        thread.work.reset();
        thread.isTask = false;
    }
    touch(thread);
    bool const isRequest =
        section.saying == Saying::PowerOnSection || section.saying == Saying::PowerOffSection;
    if (isRequest && thread.request && !mDrafts[*thread.request].isTold) close(thread);
}

// ---- A trace of our own ----

void RecordMaker::seeOwnSection(ThreadState& thread, Sighting const& sighting, std::string_view category) {
    mReach.ownTrace = true;
    TraceValues const values = traceValuesOf(mRecord.textOf(sighting.values));
    OpenSection section{Saying::Other, sighting.text};
    section.hadNotEnded = values.open;
    if (category == "sensor") {
        section.isCall = true;
        section.powersOn = mRecord.textOf(sighting.text).ends_with(" on");
        section.isFailure = values.failed;
        section.sensor = values.sensor ? sensorOf(values.sensor->name, values.sensor->id) : 0;
        Event& event = add(thread, section.powersOn ? Kind::SensorPowerOn : Kind::SensorPowerOff);
        event.sensor = section.sensor;
        event.text = mRecord.texts.add("zeqcam-PowerOnOffController");
    } else {
        section.isRequest = true;
        beginOwnRequest(thread, mRecord.textOf(sighting.text), values);
    }
    thread.open.push_back(section);
}

void RecordMaker::beginOwnRequest(ThreadState& thread, std::string_view label, TraceValues const& values) {
    RequestKind kind = RequestKind::Other;
    for (RequestKind const each : {RequestKind::PowerOn, RequestKind::PowerOff, RequestKind::Status,
                                   RequestKind::Powered, RequestKind::Wait, RequestKind::Destroy}) {
        // "powered" begins like "power on" does not, "power on main" does.
        if (label == nameOf(each) || label.starts_with(std::string(nameOf(each)) + ' ')) kind = each;
    }
    Draft& draft = newDraft(thread, kind);
    draft.isTold = true;
    std::vector<int> sensors;
    for (auto const& [name, id] : values.sensors) sensors.push_back(sensorOf(name, id));
    if (!values.client.empty()) draft.client = mRecord.texts.add(values.client);
    bool const asks = kind == RequestKind::Status || kind == RequestKind::Powered;
    (asks ? draft.request.countedOn : draft.request.sensors) = std::move(sensors);
    if (kind == RequestKind::PowerOn && !values.open) draft.request.result = values.result == "true";
}

void RecordMaker::endOwnRequest(ThreadState& thread, OpenSection const& section) {
    touch(thread);
    if (section.hadNotEnded) return leave(thread);
    close(thread);
}

// ---- Workers and tasks ----

void RecordMaker::beginWork(ThreadState& thread, Saying saying, std::int32_t sensor, bool inSection) {
    bool const isSame = thread.work && thread.work->saying == saying && !inSection;
    if (isSame) {
        thread.work->at = mOrder;
        thread.work->time = mNow;
        return;
    }
    Work work;
    work.saying = saying;
    work.sensor = sensor;
    work.at = mOrder;
    work.time = mNow;
    work.inSection = inSection;
    work.request = requestOfWork(thread, saying, sensor, inSection);
    thread.worksFor = {};
    if (saying == Saying::WorkerSection) mRecorded.insert(sensor);
    thread.isTask = saying == Saying::TaskSection && !thread.request;
    thread.work = work;
    thread.lastWorked = sensor;
    if (thread.isTask) add(thread, Kind::TaskRun).text = mRecord.texts.add(kQueue);
}

OptionalNumber<std::uint32_t> RecordMaker::requestOfWork(ThreadState const& thread, Saying saying,
                                                         std::int32_t sensor, bool inSection) {
    bool const isOn = saying == Saying::WorkerSection;
    std::vector<std::uint32_t> candidates;
    for (std::uint32_t const index : mOpen) {
        Draft const& draft = mDrafts[index];
        // Of two, a section is the better witness of what is under way.
        bool const isUnderWay =
            thread.worksFor == OptionalNumber(index) ||
            (inSection ? draft.hasSection : draft.works() && (!draft.isOver || draft.hasSection));
        bool const suits =
            isUnderWay && draft.request.kind == (isOn ? RequestKind::PowerOn : RequestKind::PowerOff);
        bool const isNamed = sensor < 0 || !draft.tellsNames || contains(draft.admitted, sensor);
        bool const isNew = !isOn || !contains(draft.worked, sensor);
        bool const isOwn = thread.request == OptionalNumber(index);
        if (suits && isNamed && isNew && (isOwn || !draft.runsItself)) candidates.push_back(index);
    }
    auto const isCandidate = [&](OptionalNumber<std::uint32_t> draft) {
        return draft && std::find(candidates.begin(), candidates.end(), *draft) != candidates.end();
    };
    if (isCandidate(thread.request)) {
        candidates = {*thread.request};
        mDrafts[*thread.request].runsItself = true;
    }
    if (isCandidate(thread.startedFor)) candidates = {*thread.startedFor};
    if (isCandidate(thread.worksFor)) candidates = {*thread.worksFor};
    if (candidates.size() > 1) {
        std::string text = std::string(isOn ? "the worker" : "the task") + " of sensor " + wordOf(sensor) +
                           " at " + timeText(mNow - mRecord.begin) + ": of one of the requests of";
        for (std::uint32_t const index : candidates) {
            text += (index == candidates.front() ? " " : ", ") + nameOfClient(mDrafts[index].thread);
            mDrafts[index].mayHaveOthers = true;
        }
        mNotes.push_back(std::move(text));
    }
    if (candidates.size() != 1) return {};
    mDrafts[candidates.front()].worked.push_back(sensor);
    return candidates.front();
}

// Where the call begins at the earliest, as far as is told by now.
void RecordMaker::addCall(ThreadState& thread) {
    if (!thread.work || thread.work->hasCall) return;
    Work& work = *thread.work;
    work.hasCall = true;
    bool const isOn = work.saying == Saying::WorkerSection;
    Event& event = addAt(work.at, work.time, thread, isOn ? Kind::SensorPowerOn : Kind::SensorPowerOff);
    event.sensor = work.sensor;
    event.text = mRecord.texts.add("zeqcam-PowerOnOffController");
}

void RecordMaker::addCallEnd(ThreadState& thread, OptionalNumber<std::int64_t> result) {
    if (!thread.work || thread.work->hasEnd) return;
    addCall(thread);
    Work& work = *thread.work;
    work.hasEnd = true;
    bool const isOn = work.saying == Saying::WorkerSection;
    Event& event = add(thread, isOn ? Kind::SensorPowerOnDone : Kind::SensorPowerOffDone);
    event.sensor = work.sensor;
    event.number = result;
}

void RecordMaker::tellService(ThreadState& thread, Kind kind) {
    Event& event = add(thread, kind);
    if (!thread.work) return;
    event.sensor = thread.work->sensor;
    thread.work->hasServices = true;
}

// A power-on that succeeds opens the services' sections. A task calls the sensors that have a record.
void RecordMaker::endWork(ThreadState& thread) {
    if (!thread.work) return;
    Work const& work = *thread.work;
    if (work.saying == Saying::WorkerSection) return addCallEnd(thread, 0);
    bool const hasRecord = work.hasServices || mRecorded.contains(work.sensor);
    if (hasRecord) addCallEnd(thread, {});
    mRecorded.erase(work.sensor);
}

// Those of which no section tells the end have ended by now.
void RecordMaker::allUp(std::uint32_t draft) {
    for (auto& [id, thread] : mThreads) {
        if (!thread.work || thread.work->inSection || thread.work->request != OptionalNumber(draft)) continue;
        addCallEnd(thread, 1);
        thread.work.reset();
    }
}

// ---- Sensors ----

// A sensor that is known by its name alone has the next id that no other has.
void RecordMaker::resolveSensors() {
    std::set<std::int32_t> ids;
    auto const take = [&](std::int32_t id) {
        bool const isUnknown = id < kFirstUnknown + static_cast<std::int32_t>(mSensorNames.size());
        if (!isUnknown) ids.insert(id);
    };
    for (Event const& event : mRecord.events) {
        if (event.sensor) take(*event.sensor);
    }
    for (Request const& request : mRecord.requests) {
        for (int const sensor : request.sensors.value_or(std::vector<int>())) take(sensor);
    }
    for (auto const& [unknown, id] : mSensorIds) ids.insert(id);
    std::int32_t next = 0;
    std::map<std::int32_t, TextId> names;
    for (auto const& [id, name] : mNamesOfIds) {
        ids.insert(id);
        names[id] = mRecord.texts.add(name);
    }
    for (auto const& [name, unknown] : mSensorNames) {
        while (!mSensorIds.contains(unknown) && ids.contains(next)) ++next;
        auto const [id, isNew] = mSensorIds.emplace(unknown, next);
        ids.insert(id->second);
        names[id->second] = mRecord.texts.add(name);
    }
    auto const resolve = [&](std::int32_t& id) {
        if (auto const known = mSensorIds.find(id); known != mSensorIds.end()) id = known->second;
    };
    for (Event& event : mRecord.events) {
        if (event.sensor) resolve(*event.sensor);
    }
    for (Request& request : mRecord.requests) {
        for (auto* const sensors : {&request.sensors, &request.countedOn}) {
            if (!*sensors) continue;
            for (int& sensor : **sensors) resolve(sensor);
        }
    }
    for (std::int32_t const id : ids) mRecord.sensors.push_back({.id = id, .name = names[id], .powered = {}});
}

}  // namespace zeqcam::tool
