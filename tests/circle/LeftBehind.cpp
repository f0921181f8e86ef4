#include "circle/LeftBehind.h"

#include "analysis/Attribution.h"
#include "run/SimulatedRun.h"
#include "views/TraceFile.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <sstream>

namespace zeqcam::tests {

using namespace tool;
using board::Kind;
using std::chrono::milliseconds;
using std::chrono::nanoseconds;

Played play(Scenario& scenario) {
    std::ostringstream log;
    scenario.settings.logStream = &log;
    scenario.settings.log.detailsLevel = 5;
    Played run{simulate(scenario, std::uint64_t{1}, {}).record, {}};
    run.log = log.str();
    return run;
}

// By the first line: the log's time is of the wall clock, the record's of another.
nanoseconds toWallClock(Played const& run) {
    auto const first = std::find_if(run.record.events.begin(), run.record.events.end(),
                                    [](Event const& event) { return event.kind == Kind::UnifiedLog; });
    if (first == run.record.events.end()) return {};
    auto const number = [&](std::size_t at, std::size_t size) { return std::stol(run.log.substr(at, size)); };
    auto const shown = std::chrono::hours(number(6, 2)) + std::chrono::minutes(number(9, 2)) +
                       std::chrono::seconds(number(12, 2)) + milliseconds(number(15, 3));
    return shown - floor<milliseconds>(first->time.time_since_epoch());
}

std::uint32_t starterOf(Record const& record, std::vector<OptionalNumber<std::uint32_t>> const& requests,
                        std::size_t section) {
    std::uint32_t const worker = record.events[section].thread;
    for (std::size_t i = section; i < record.events.size(); ++i) {
        Event const& event = record.events[i];
        if (event.kind != Kind::SensorPowerOn || event.thread != worker || !requests[i]) continue;
        return *record.clients[record.requests[*requests[i]].client].thread;
    }
    return worker;
}

namespace {

// The board's lines with year and zone: "1970-01-01 00:00:00.048 +0000  1000 …".
std::string logOf(Played const& run) {
    constexpr std::size_t kTime = 18;
    std::string text;
    std::istringstream lines(run.log);
    for (std::string line; std::getline(lines, line);)
        text += "1970-" + line.substr(0, kTime) + " +0000" + line.substr(kTime) + '\n';
    return text;
}

// As the kernel writes what goes to its trace_marker, and the starts of threads.
std::string traceOf(Played const& run) {
    Record const& record = run.record;
    std::string text = "# tracer: nop\n#\n";
    auto const write = [&](std::uint32_t thread, nanoseconds time, std::string const& event) {
        std::array<char, 128> head{};
        auto const micros = time / std::chrono::microseconds(1);
        std::snprintf(head.data(), head.size(),
                      "  <...>-%d  (-----) [000] ..... %lld.%06lld: ", *record.threads[thread].id,
                      static_cast<long long>(micros / 1000000), static_cast<long long>(micros % 1000000));
        text += head.data() + event + '\n';
    };
    auto const requests = attributionOf(record);
    std::string const process = std::to_string(*record.process);
    nanoseconds const sync = floor<milliseconds>(record.begin.time_since_epoch());
    write(0, sync,
          "tracing_mark_write: trace_event_clock_sync: realtime_ts=" +
              std::to_string((sync + toWallClock(run)) / milliseconds(1)));
    for (std::size_t i = 0; i < record.events.size(); ++i) {
        Event const& event = record.events[i];
        std::string const label(record.textOf(event.text));
        nanoseconds const time = event.time.time_since_epoch();
        if (event.kind == Kind::TraceBegin && label.starts_with("powerOnSensor: ")) {
            write(starterOf(record, requests, i), time,
                  "task_newtask: pid=" + std::to_string(*record.threads[event.thread].id) +
                      " comm=worker clone_flags=3d0f00 oom_score_adj=0");
        }
        if (event.kind == Kind::TraceBegin)
            write(event.thread, time, "tracing_mark_write: B|" + process + '|' + label);
        if (event.kind == Kind::TraceEnd) write(event.thread, time, "tracing_mark_write: E|" + process);
    }
    return text;
}

// What `run --trace` writes.
std::string ownTraceOf(Played const& run) {
    std::ostringstream text;
    writeTrace(run.record, {}, text);
    return text.str();
}

}  // namespace

std::string textOf(Played const& run, Source source) {
    switch (source) {
        case Source::Log:
            return logOf(run);
        case Source::Trace:
            return traceOf(run);
        case Source::Perfetto:
            return perfettoOf(run);
        case Source::OwnTrace:
            return ownTraceOf(run);
    }
    return {};
}

}  // namespace zeqcam::tests
