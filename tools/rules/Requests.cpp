#include "rules/Requests.h"

#include "analysis/SensorNames.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace zeqcam::tool {
namespace {

using board::Kind;

constexpr std::string_view kPowerOn = "LogicalDev powerOn";
constexpr std::string_view kPowerOff = "LogicalDev powerOff";
constexpr std::string_view kTask = "powerOff: ";

std::string quoted(std::string_view text) {
    return '"' + std::string(text) + '"';
}

// A section of a worker or of a task, and the requests that were under way at its begin, one of which is its
// own.
struct Part {
    std::uint32_t begin;
    std::set<std::uint32_t> requests;
};

// The sections of one kind of request and those of its parts.
struct Layers {
    std::string_view request;
    std::string_view part;                                 // begins the label
    std::map<std::uint32_t, std::uint32_t> underWay = {};  // the begin of each thread's request
    std::map<std::uint32_t, Part> parts = {};              // each thread's
    std::optional<std::uint32_t> lastEnd = {};             // of a request
};

}  // namespace

std::vector<Breach> workThatOutlivesItsRequest(Record const& record) {
    std::vector<Breach> breaches;
    std::array layers{Layers{kPowerOn, "powerOnSensor: "}, Layers{kPowerOff, kTask}};
    for (std::uint32_t index = 0; index < record.events.size(); ++index) {
        Event const& event = record.events[index];
        std::string_view const label = record.textOf(event.text);
        for (Layers& layer : layers) {
            if (event.kind == Kind::TraceBegin && label == layer.request)
                layer.underWay[event.thread] = index;
            if (event.kind == Kind::TraceEnd && label == layer.request) {
                layer.underWay.erase(event.thread);
                layer.lastEnd = index;
            }
            if (!label.starts_with(layer.part)) continue;
            if (event.kind == Kind::TraceBegin) {
                Part& part = layer.parts[event.thread] = {index, {}};
                for (auto const& [thread, begin] : layer.underWay) part.requests.insert(begin);
            }
            auto const part = layer.parts.find(event.thread);
            if (event.kind != Kind::TraceEnd || part == layer.parts.end()) continue;
            auto const& requests = part->second.requests;
            bool const isInside =
                requests.empty() ||
                std::any_of(layer.underWay.begin(), layer.underWay.end(),
                            [&](auto const& each) { return requests.contains(each.second); });
            // Of two threads, times that are too near say nothing where the source's are coarse.
            auto const after =
                layer.lastEnd ? event.time - record.events[*layer.lastEnd].time : std::chrono::nanoseconds(0);
            bool const isCertain =
                record.resolution <= std::chrono::nanoseconds(1) || after >= record.resolution;
            if (!isInside && isCertain) {
                breaches.push_back({quoted(label) + " ends after its request's " + quoted(layer.request),
                                    {part->second.begin, layer.lastEnd.value_or(index), index}});
            }
            layer.parts.erase(part);
        }
    }
    return breaches;
}

std::vector<Breach> sensorsWithoutACall(Record const& record) {
    std::vector<Breach> breaches;
    // By thread: the handles made in its power-on for sensors that have had no call since. A long record has
    // many threads, of which few are in a power-on.
    std::map<std::uint32_t, std::map<std::int32_t, std::uint32_t>> uncalled;
    for (std::uint32_t index = 0; index < record.events.size(); ++index) {
        Event const& event = record.events[index];
        if (event.kind == Kind::ProfileBegin) uncalled.erase(event.thread);
        if (event.kind == Kind::SensorCreate && event.sensor && event.number.value_or(1) != 0)
            uncalled[event.thread][*event.sensor] = index;
        if (event.kind == Kind::SensorPowerOn && event.sensor) {
            for (auto& [thread, handles] : uncalled) handles.erase(*event.sensor);
        }
        // All workers have ended, none of them by an exception.
        if (event.kind != Kind::ProfileMark || record.textOf(event.text) != "Sensor powerOn -") continue;
        for (auto const& [sensor, made] : uncalled[event.thread]) {
            breaches.push_back({sensorPhrase(record, sensor) + " was admitted to a power-on and never called",
                                {made, index}});
        }
        uncalled.erase(event.thread);
    }
    return breaches;
}

std::vector<Breach> handlesThatOutliveAPowerOff(Record const& record) {
    std::vector<Breach> breaches;
    std::set<std::uint32_t> underWay;  // threads in a power-off
    std::set<std::uint32_t> inTask;    // threads in the power-off of one sensor
    // By caller and sensor: the handles that the power-off under way has powered off and not released. Of two
    // at once, which did what is not known.
    std::map<std::pair<TextId, std::int32_t>, std::uint32_t> handles;
    bool isAlone = false;
    for (std::uint32_t index = 0; index < record.events.size(); ++index) {
        Event const& event = record.events[index];
        std::string_view const label = record.textOf(event.text);
        if (event.kind == Kind::TraceBegin && label == kPowerOff) {
            underWay.insert(event.thread);
            isAlone = underWay.size() == 1;
            handles.clear();
        }
        if (event.kind == Kind::TraceBegin && label.starts_with(kTask)) inTask.insert(event.thread);
        if (event.kind == Kind::TraceEnd && label.starts_with(kTask)) inTask.erase(event.thread);
        if (event.sensor && event.kind == Kind::SensorPowerOff && inTask.contains(event.thread))
            handles.emplace(std::pair(event.text, *event.sensor), index);
        if (event.sensor && event.kind == Kind::SensorRelease) handles.erase({event.text, *event.sensor});
        if (event.kind != Kind::TraceEnd || label != kPowerOff) continue;
        underWay.erase(event.thread);
        for (auto const& [handle, powerOff] : handles) {
            if (!isAlone) break;
            breaches.push_back(
                {"the handle of " + sensorPhrase(record, handle.second) + " outlives its power-off",
                 {powerOff, index}});
        }
        handles.clear();
    }
    return breaches;
}

std::vector<Breach> waitsThatEndUnderTheLock(Record const& record) {
    std::vector<Breach> breaches;
    OptionalNumber<std::uint32_t> held;  // by the power-on that began here, beyond doubt
    std::set<std::uint32_t>
        asking;  // threads whose power-on holds it once it works: nobody may release it yet
    std::map<std::uint32_t, std::uint32_t> waits;  // under it, by thread
    std::set<std::uint32_t> mayRelease;            // threads whose request may
    for (std::uint32_t index = 0; index < record.events.size(); ++index) {
        Event const& event = record.events[index];
        bool const isSection = event.kind == Kind::TraceBegin;
        if (event.kind == Kind::Request) {
            RequestKind const kind =
                event.request ? record.requests[*event.request].kind : RequestKind::Other;
            bool const leavesIt = kind == RequestKind::PowerOn || kind == RequestKind::Status ||
                                  kind == RequestKind::Powered || kind == RequestKind::Wait;
            if (!leavesIt) mayRelease.insert(event.thread);
            if (kind == RequestKind::PowerOn) asking.insert(event.thread);
            if (held && kind == RequestKind::Wait) waits[event.thread] = index;
        }
        bool const works = isSection && record.textOf(event.text) == kPowerOn;
        if (works && asking.contains(event.thread) && !held) held = index;
        bool const mayBeReleased = !mayRelease.empty() || event.kind == Kind::SensorPowerOff ||
                                   event.kind == Kind::SensorRelease ||
                                   (isSection && record.textOf(event.text) == kPowerOff);
        if (mayBeReleased) {
            held = std::nullopt;
            waits.clear();
            asking.clear();
        }
        if (event.kind != Kind::Reply) continue;
        if (auto const wait = waits.find(event.thread); wait != waits.end()) {
            breaches.push_back({"a wait ends while the power-on lock is held", {*held, wait->second, index}});
            waits.erase(wait);
        }
        mayRelease.erase(event.thread);
        asking.erase(event.thread);
    }
    return breaches;
}

}  // namespace zeqcam::tool
