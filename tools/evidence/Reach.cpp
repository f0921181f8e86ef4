#include "evidence/Reach.h"

#include <algorithm>
#include <array>

namespace zeqcam::tool {
namespace {

using board::Kind;

// What sections, and debug lines, are traces of.
constexpr std::array kOfSections{Kind::TraceBegin,    Kind::TraceEnd,          Kind::Hal3APowerOn,
                                 Kind::Hal3APowerOff, Kind::PeripheralPowerOn, Kind::PeripheralPowerOff};
constexpr std::array kOfDebugLines{Kind::SensorListGet, Kind::SensorCreate, Kind::SensorPowerOn,
                                   Kind::ProfileBegin, Kind::ProfileMark};

constexpr std::string_view kDebugLines = "debug lines (docs/read.md says how)";
constexpr std::string_view kSections = "a trace of the category \"camera\"";

template <class Kinds>
KindSet with(KindSet shows, Kinds const& kinds) {
    for (Kind const kind : kinds) shows.insert(kind);
    return shows;
}

}  // namespace

KindSet Reach::shows() const {
    KindSet shows;
    if ((sections || ownTrace) && !lostEvents) shows = with(shows, kOfSections);
    if (debugLines && !lostLines) shows = with(shows, kOfDebugLines);
    return shows;
}

std::vector<std::string> reachLines(Reach const& reach) {
    std::vector<std::string> lines;
    auto const add = [&](std::string_view what, bool isKnown, std::string_view how, std::string_view else_) {
        lines.push_back(std::string(what) + ": " + std::string(isKnown ? how : else_));
    };
    bool const traced = reach.sections || reach.ownTrace;
    std::string const needsBoth =
        "unknown; needs " + std::string(kDebugLines) + ", or " + std::string(kSections);
    if (reach.debugLines) {
        add("sensors of a power-on", true, "all that it names", "");
    } else {
        add("sensors of a power-on", traced, "those that were off; those that it skips need debug lines",
            needsBoth);
    }
    add("sensors of a power-off", traced, "all", "unknown; needs " + std::string(kSections));
    if (traced) {
        add("when a sensor came up", true, "known", "");
    } else {
        add("when a sensor came up", reach.debugLines, "at the latest when all of its request had",
            needsBoth);
    }
    add("wait for a busy controller", reach.debugLines || reach.ownTrace, "known",
        "unknown; needs " + std::string(kDebugLines));
    add("failures of sensors", reach.infoLines || reach.debugLines || traced, "known",
        "those that were logged");
    add("statuses and waits of clients", reach.ownTrace, "known",
        "unknown; no evidence of a phone tells of them");
    add("which worker is whose, where requests overlap", reach.starts || reach.debugLines || reach.ownTrace,
        "known", "may be one of several; needs debug lines or sched/task_newtask");
    add("time on a processor", reach.scheduling, "known", "unknown; needs the category \"sched\"");
    return lines;
}

std::string neededFor(Rule const& rule, Reach const& reach) {
    KindSet const shows = reach.shows();
    if (shows.contains(rule.needs)) return {};
    if (with(shows, kOfSections).contains(rule.needs))
        return reach.lostEvents ? "a trace that has lost nothing" : std::string(kSections);
    if (with(shows, kOfDebugLines).contains(rule.needs))
        return reach.lostLines ? "a log that has lost nothing" : std::string(kDebugLines);
    return "a run: write the scenario with --scenario and play it";
}

std::string_view reachTable() {
    return "What each kind of evidence lets one see:\n"
           "                                 info lines  debug lines  trace  trace of a run\n"
           "  requests that have work        yes         yes          yes    yes\n"
           "  requests that have none        -           yes          -      yes\n"
           "  wait for a busy controller     -           yes          -      yes\n"
           "  sensors of a power-on          -           yes          if off yes\n"
           "  sensors of a power-off         -           -            yes    yes\n"
           "  when a sensor came up          -           at most      yes    yes\n"
           "  failures                       yes         yes          yes    yes\n"
           "  statuses and waits             -           -            -      yes\n"
           "  time on a processor            -           -            sched  -\n"
           "A trace is of atrace's category \"camera\", as ftrace text or Perfetto's.\n";
}

}  // namespace zeqcam::tool
