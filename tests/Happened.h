#pragma once

#include "run/JournalRecord.h"
#include "views/View.h"

#include <chrono>
#include <cstdint>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace zeqcam::tests {

inline std::chrono::steady_clock::time_point const kStart{std::chrono::hours(1)};
inline tool::Instant const kBegin = tool::instantOf(kStart);

// A journal written by hand: what happened at a millisecond on a thread.
struct Happened {
    int ms;
    int thread;
    board::Kind kind;
    std::string text = {};
    int sensor = 0;
    std::int64_t number = 0;
    std::string detail = {};
    std::vector<int> sensors = {};
};

inline std::vector<board::Entry> entriesOf(std::vector<Happened> const& happened) {
    std::vector<board::Entry> entries;
    entries.reserve(happened.size());
    for (Happened const& it : happened) {
        entries.push_back({.time = kStart + std::chrono::milliseconds(it.ms),
                           .thread = it.thread,
                           .kind = it.kind,
                           .sensor = it.sensor,
                           .number = it.number,
                           .text = it.text,
                           .detail = it.detail,
                           .shown = it.text,
                           .sensors = it.sensors});
    }
    return entries;
}

inline tool::Record recordOf(std::vector<Happened> const& happened,
                             std::chrono::milliseconds now = std::chrono::milliseconds(100)) {
    return tool::recordOf(entriesOf(happened), kBegin + now);
}

using View = void(tool::Record const&, tool::Presentation const&, std::ostream&);

inline std::string shown(View& view, tool::Record const& record, tool::Presentation const& presentation) {
    std::ostringstream text;
    view(record, presentation, text);
    return text.str();
}

// Two sensors are powered on, the second in vain, and off; its second power-on does not end.
inline std::vector<Happened> aRun(std::string const& client = "app") {
    return {{0, 1, board::Kind::Request, client, 0, 0, "power on", {0, 3}},
            {1, 1, board::Kind::TraceBegin, "LogicalDev powerOn"},
            {2, 2, board::Kind::TraceBegin, "powerOnSensor: 0"},
            {2, 3, board::Kind::TraceBegin, "powerOnSensor: 3"},
            {3, 2, board::Kind::SensorPowerOn, "caller", 0},
            {3, 3, board::Kind::SensorPowerOn, "caller", 3},
            {20, 3, board::Kind::SensorPowerOnDone, "caller", 3, 0},
            {20, 3, board::Kind::UnifiedLog, "sensor 3 failed", 0, 1},
            {20, 3, board::Kind::DebugPrint, "E[tag] Controller.cpp:7 f() sensor 3 failed", 0, 1},
            {21, 3, board::Kind::TraceEnd},
            {30, 2, board::Kind::SensorPowerOnDone, "caller", 0, 1},
            {31, 2, board::Kind::TraceEnd},
            {32, 1, board::Kind::TraceEnd},
            {33, 1, board::Kind::Reply, client, 0, 1, "power on"},
            {40, 1, board::Kind::Request, client, 0, 0, "power off", {0, 3}},
            {41, 4, board::Kind::TaskRun, "powerOnOffCtrl"},
            {41, 4, board::Kind::TraceBegin, "powerOff: 0"},
            {42, 4, board::Kind::SensorPowerOff, "caller", 0},
            {50, 4, board::Kind::SensorPowerOffDone, "caller", 0, 1},
            {51, 4, board::Kind::TraceEnd},
            {51, 4, board::Kind::TaskRunDone, "powerOnOffCtrl"},
            {52, 1, board::Kind::Reply, client, 0, 0, "power off"},
            {60, 1, board::Kind::Request, client, 0, 0, "power on", {3}},
            {61, 5, board::Kind::TraceBegin, "powerOnSensor: 3"},
            {62, 5, board::Kind::SensorPowerOn, "caller", 3}};
}

// The sensor that fails has a name, the controllers share sensor 5.
inline tool::Record namedRecord(std::vector<Happened> const& happened) {
    tool::Record record;
    tool::Texts& texts = record.texts;
    record.sensors = {{.id = 0, .name = texts.add("main")}, {.id = 3, .name = texts.add("tele")}};
    record.controllers = {{.name = texts.add("video"), .sensors = {3, 5}},
                          {.name = texts.add("photo"), .sensors = {0, 5}}};
    record.clients = {{.name = texts.add("zoom")}, {.name = texts.add("app")}};
    record.end = kBegin + std::chrono::milliseconds(100);
    tool::addJournal(record, entriesOf(happened));
    return record;
}

}  // namespace zeqcam::tests
