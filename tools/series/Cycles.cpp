#include "series/Cycles.h"

#include "analysis/Attribution.h"
#include "analysis/LogLevel.h"
#include "text/TimeText.h"

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>

namespace zeqcam::tool {
namespace {

// The sensors that each request's calls powered off, where the record does not tell whom it asked for.
std::vector<std::set<int>> poweredOffBy(Record const& record) {
    std::vector<std::set<int>> sensors(record.requests.size());
    auto const requests = attributionOf(record);
    for (std::size_t i = 0; i < record.events.size(); ++i) {
        Event const& event = record.events[i];
        if (event.kind == board::Kind::SensorPowerOff && event.sensor && requests[i])
            sensors[*requests[i]].insert(*event.sensor);
    }
    return sensors;
}

// Whether each request let go of the power-on lock, which the power-off does that leaves nothing on. It tells
// of a log, in which a power-off names no sensor.
std::vector<bool> freeTheLock(Record const& record) {
    std::vector<bool> free(record.requests.size());
    for (Event const& event : record.events) {
        if (!event.request || !levelOf(event)) continue;
        if (markText(record, event).find("gSensorPowerOnLock unlock") != std::string_view::npos)
            free[*event.request] = true;
    }
    return free;
}

// A request begins to count when it powers on, and has gone when it has powered off.
struct Change {
    Instant time;
    bool isOn;
    std::uint32_t request;
};

std::vector<Change> changesOf(Record const& record) {
    std::vector<Change> changes;
    for (std::uint32_t index = 0; index < record.requests.size(); ++index) {
        Request const& request = record.requests[index];
        bool const isOff = request.kind == RequestKind::PowerOff || request.kind == RequestKind::Destroy;
        if (request.kind == RequestKind::PowerOn) changes.push_back({request.began, true, index});
        if (isOff && request.ended) changes.push_back({*request.ended, false, index});
    }
    std::stable_sort(changes.begin(), changes.end(),
                     [](Change const& left, Change const& right) { return left.time < right.time; });
    return changes;
}

// A cycle's part of what is known of the whole record. `taken`: figures that a cycle has, by their places.
RunFigures partOf(RunFigures const& all, double beginMs, double endMs, std::vector<bool>& taken) {
    RunFigures part;
    std::map<std::tuple<Subject::Of, std::string, std::string>, int> times;
    std::map<std::string, std::string> requests;  // as links name them, by how they did of the whole
    for (std::size_t i = 0; i < all.figures.size(); ++i) {
        Figure const& each = all.figures[i];
        // The next cycle may begin as this one ends, with what takes no time.
        bool const isLast = each.beganMs == endMs && each.ms == 0.0;
        bool const isWithin = each.beganMs >= beginMs && (each.beganMs < endMs || isLast);
        if (taken[i] || (!isWithin && each.beganMs != beginMs)) continue;
        taken[i] = true;
        Figure& figure = part.figures.emplace_back(each);
        figure.beganMs -= beginMs;
        if (each.subject.of == Subject::Of::Link) figure.subject.who = requests[each.subject.who];
        figure.subject.nth = ++times[{each.subject.of, figure.subject.who, each.subject.what}];
        if (each.subject.of == Subject::Of::Request) requests[textOf(each.subject)] = textOf(figure.subject);
        if (each.subject.of != Subject::Of::Rule || part.verdict != Verdict::Passed) continue;
        part.verdict = Verdict::Failed;
        part.why = "broken rule " + each.subject.what;
    }
    return part;
}

}  // namespace

std::vector<Cycle> cyclesOf(Record const& record) {
    auto const powersOff = poweredOffBy(record);
    auto const isLast = freeTheLock(record);
    std::vector<Cycle> cycles;
    // By controller where it is known: each counts a sensor that they share as its own.
    std::set<std::pair<std::int64_t, int>> on;
    std::optional<Instant> begin;
    for (auto const& [time, isOn, index] : changesOf(record)) {
        Request const& request = record.requests[index];
        auto const controller = record.clients[request.client].controller;
        std::int64_t const of = controller ? std::int64_t{*controller} : -1;
        if (isOn) {
            if (on.empty()) begin = time;
            for (int const sensor : request.sensors.value_or(std::vector<int>())) on.emplace(of, sensor);
            continue;
        }
        if (request.sensors) {
            for (int const sensor : *request.sensors) on.erase({of, sensor});
        } else if (isLast[index]) {
            std::erase_if(on, [of](auto const& each) { return each.first == of; });
        } else {
            for (int const sensor : powersOff[index]) on.erase({of, sensor});
        }
        if (!on.empty() || !begin) continue;
        cycles.push_back({*begin, time});
        begin.reset();
    }
    return cycles;
}

std::vector<RunFigures> figuresOfCycles(Record const& record, Strictness const& strictness,
                                        std::uint64_t first, Selection const& selection) {
    Selection names = selection;
    names.from.reset();
    names.to.reset();
    RunFigures const all = figuresOf(record, strictness, first, names);
    auto const msOf = [&](Instant time) {
        auto const since = floor<std::chrono::microseconds>(time - record.begin);
        return millisecondsOf(since);
    };
    std::vector<RunFigures> runs;
    std::vector<bool> taken(all.figures.size());
    for (Cycle const& cycle : cyclesOf(record)) {
        runs.push_back(partOf(all, msOf(cycle.begin), msOf(cycle.end), taken));
        runs.back().run = first + runs.size() - 1;
        keepBetween(selection, runs.back());
    }
    return runs;
}

}  // namespace zeqcam::tool
