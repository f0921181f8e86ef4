#include "evidence/Ftrace.h"

#include "evidence/Marker.h"
#include "evidence/Scanner.h"

#include <optional>
#include <string>

namespace zeqcam::tool {
namespace {

// "S", "R+", "X|Z": how the thread was that was taken from the processor.
Scheduling::State stateOf(std::string_view text) {
    if (text.substr(0, 1) == "R") return Scheduling::State::Runnable;
    if (text.find_first_of("XZx") != std::string_view::npos) return Scheduling::State::Ended;
    return Scheduling::State::Asleep;
}

// A thread as trace-cmd shows it: "worker:1240 [120] …", where a name may hold colons.
struct ShownThread {
    std::int32_t id = 0;
    std::string_view rest;
};
std::optional<ShownThread> shownThread(std::string_view text) {
    auto const priority = text.find(" [");
    if (priority == std::string_view::npos) return {};
    auto const colon = text.substr(0, priority).rfind(':');
    if (colon == std::string_view::npos) return {};
    auto const id = Scanner(text.substr(colon + 1, priority - colon - 1)).number<std::int32_t>();
    auto const end = text.find(']', priority);
    if (!id || end == std::string_view::npos) return {};
    Scanner rest(text.substr(end + 1));
    rest.skipSpaces();
    return ShownThread{*id, rest.rest()};
}

// Older pages hold the trace as JavaScript's text, whose lines end so.
std::string_view withoutEscape(std::string_view line) {
    if (line.size() >= 3 && line.substr(line.size() - 3) == "\\n\\") line.remove_suffix(3);
    return line;
}

}  // namespace

bool FtraceReader::isTrace(std::string_view line) {
    return line.substr(0, 10) == "# tracer: " || ftraceLineOf(line).has_value();
}

void FtraceReader::read(Lines& lines) {
    while (lines.next()) {
        mNumber = lines.number();
        auto const line = withoutEscape(withoutPadding(lines.text()));
        if (lines.isWhole()) {
            take(line);
            continue;
        }
        // Of a cut line nobody knows what it said, unless it is the end of a page, or far too long for a
        // trace.
        bool const isPage = line.substr(0, 2) == "</";
        if (!isPage && (line.size() < Lines::kLongest || ftraceLineOf(line))) tellLost("the line is cut");
    }
}

void FtraceReader::take(std::string_view line) {
    auto const found = ftraceLineOf(line);
    if (!found) return takeOther(line);
    mTime = found->time;
    take(*found);
}

void FtraceReader::take(FtraceLine const& line) {
    if (line.event.substr(0, 18) == "tracing_mark_write") {
        takeMarker(line, line.values);
    } else if (line.event == "print" || line.event == "bprint") {
        // Who wrote it stands before: "tracing_mark_write: " or an address.
        auto const writer = line.values.find(": ");
        takeMarker(line, writer < line.values.find('|') ? line.values.substr(writer + 2) : line.values);
    } else if (line.event == "sched_switch") {
        takeSwitch(line);
    } else if (line.event == "sched_waking") {
        mHasWakings = true;
        takeWaking(line);
    } else if (line.event == "sched_wakeup" || line.event == "sched_wakeup_new") {
        if (!mHasWakings) takeWaking(line);
    } else if (line.event == "task_newtask") {
        mHasNewTasks = true;
        takeStart(line, idOf(line.values, "pid").value_or(0), nameBefore(line.values, "comm", "clone_flags"));
    } else if (line.event == "sched_process_fork" && !mHasNewTasks) {
        takeStart(line, idOf(line.values, "child_pid").value_or(0),
                  nameBefore(line.values, "child_comm", "child_pid"));
    } else if (line.event == "task_rename") {
        mThreads.tell(item(line), idOf(line.values, "pid").value_or(0),
                      nameBefore(line.values, "newcomm", "oom_score_adj"), {}, mSink);
    }
}

void FtraceReader::takeMarker(FtraceLine const& line, std::string_view text) {
    auto const marker = markerOf(text);
    if (!marker) return takeClock(line, text);
    FtraceLine known = line;
    if (marker->process) known.process = marker->process;
    if (marker->begins) {
        tell(known, line.thread, SectionBegin{.label = marker->label});
    } else {
        tell(known, line.thread, SectionEnd{});
    }
}

// "trace_event_clock_sync: parent_ts=8642.315042", seconds of the monotonic clock, or "realtime_ts=", of the
// wall's milliseconds.
void FtraceReader::takeClock(FtraceLine const& line, std::string_view text) {
    Scanner rest(text);
    if (!rest.take("trace_event_clock_sync: ")) return;
    if (rest.take("parent_ts=")) {
        if (auto const shown = rest.seconds()) tell(line, 0, ClockReading{ClockKind::Monotonic, *shown});
    } else if (rest.take("realtime_ts=")) {
        constexpr std::int64_t kMost = 9'000'000'000'000;
        auto const shown = rest.number<std::int64_t>();
        if (shown && *shown < kMost)
            tell(line, 0, ClockReading{ClockKind::Wall, std::chrono::milliseconds(*shown)});
    }
}

void FtraceReader::takeSwitch(FtraceLine const& line) {
    if (auto const from = shownThread(line.values)) {
        auto const arrow = from->rest.find(" ==> ");
        if (arrow == std::string_view::npos) return;
        if (auto const to = shownThread(from->rest.substr(arrow + 5)))
            tell(line, from->id, Switch{.next = to->id, .left = stateOf(from->rest.substr(0, arrow))});
        return;
    }
    auto const from = idOf(line.values, "prev_pid");
    auto const to = idOf(line.values, "next_pid");
    auto const state = valueOf(line.values, "prev_state");
    if (!from || !to || !state) return;
    tell(line, *from, Switch{.next = *to, .left = stateOf(*state)});
    mThreads.tell(item(line), *to, nameBefore(line.values, "next_comm", "next_pid"), {}, mSink);
}

void FtraceReader::takeWaking(FtraceLine const& line) {
    auto const shown = shownThread(line.values);
    auto const woken = shown ? shown->id : idOf(line.values, "pid").value_or(0);
    if (woken != 0) tell(line, line.thread, Waking{woken});
}

void FtraceReader::takeStart(FtraceLine const& line, std::int32_t started, std::string_view name) {
    if (started == 0) return;
    mThreads.forget(started);
    tell(line, line.thread, ThreadStart{.started = started, .name = name});
}

void FtraceReader::takeOther(std::string_view line) {
    Scanner rest(line);
    if (rest.take("CPU:")) {
        auto const lost = line.find("[LOST ");
        auto const count = lost == std::string_view::npos
                               ? std::nullopt
                               : Scanner(line.substr(lost + 6)).number<std::uint64_t>();
        if (count) return tellLost(std::to_string(*count) + " events lost");
        if (line.find("EVENTS") != std::string_view::npos) tellLost("events lost");
    } else if (rest.take("# entries-in-buffer/entries-written: ")) {
        auto const kept = rest.number<std::uint64_t>();
        auto const written = rest.take('/') ? rest.number<std::uint64_t>() : std::nullopt;
        if (kept && written && *written > *kept)
            tellLost(std::to_string(*written - *kept) + " events before the first were overwritten");
    }
}

template <class What>
void FtraceReader::tell(FtraceLine const& line, std::int32_t thread, What const& what) {
    Item item = this->item(line);
    mThreads.tell(item, line.thread, line.name, line.process, mSink);
    item.thread = thread;
    if (thread == line.thread) item.process = line.process;
    item.what = what;
    mSink.take(item);
}

void FtraceReader::tellLost(std::string_view what) {
    Item item = this->item({.time = mTime});
    item.what = Lost{what};
    mSink.take(item);
}

Item FtraceReader::item(FtraceLine const& line) const {
    Item item;
    item.time = line.time;
    item.clock = ClockKind::Trace;
    item.place = {.number = mNumber, .file = mFile};
    return item;
}

}  // namespace zeqcam::tool
