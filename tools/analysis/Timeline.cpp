#include "analysis/Timeline.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <iomanip>
#include <map>
#include <numeric>
#include <optional>
#include <set>
#include <sstream>
#include <string_view>
#include <utility>

namespace zeqcam::tool {
namespace {

using board::Entry;
using board::Kind;
using std::chrono::nanoseconds;

// What a thread is, in the order in which the rows stand.
struct Role {
    enum class Is : std::uint8_t { Client, Worker, Queue, Other };
    Is is = Is::Other;
    int sensor = 0;  // of a worker
    std::string name;

    bool operator==(Role const&) const = default;
};

Role workerOf(int sensor) {
    return {Role::Is::Worker, sensor, "sensor " + std::to_string(sensor) + " worker"};
}

Role otherRole(int thread) {
    return {Role::Is::Other, 0, thread == getpid() ? "main" : "thread " + std::to_string(thread)};
}

// The sensor of a worker's outermost trace section.
std::optional<int> workersSensor(std::string_view label) {
    constexpr std::string_view kBegin = "powerOnSensor: ";
    if (!label.starts_with(kBegin)) return {};
    int sensor = 0;
    char const* const end = label.data() + label.size();
    auto const [rest, error] = std::from_chars(label.data() + kBegin.size(), end, sensor);
    return error == std::errc() && rest == end ? std::optional(sensor) : std::nullopt;
}

// What a thread shows itself to be by this entry.
std::optional<Role> roleShownBy(Entry const& entry) {
    switch (entry.kind) {
        case Kind::Request:
            return Role{Role::Is::Client, 0, entry.text};
        case Kind::TaskRun:
            return Role{Role::Is::Queue, 0, entry.text};
        case Kind::SensorPowerOn:
            return workerOf(entry.sensor);
        case Kind::TraceBegin:
            if (auto const sensor = workersSensor(entry.text)) return workerOf(*sensor);
            return {};
        default:
            return {};
    }
}

std::string requestLabel(Entry const& entry) {
    std::string label = entry.detail;
    for (int const sensor : entry.sensors) label += ' ' + std::to_string(sensor);
    return label;
}

std::string callLabel(Entry const& entry, char const* change) {
    return "sensor " + std::to_string(entry.sensor) + change;
}

struct Opening {
    SectionKind kind;
    std::string label;
};

std::optional<Opening> openedBy(Entry const& entry) {
    switch (entry.kind) {
        case Kind::Request:
            return Opening{entry.detail == "wait" ? SectionKind::Wait : SectionKind::Request,
                           requestLabel(entry)};
        case Kind::TraceBegin:
            return Opening{SectionKind::Trace, entry.text};
        case Kind::SensorPowerOn:
            return Opening{SectionKind::SensorCall, callLabel(entry, " on")};
        case Kind::SensorPowerOff:
            return Opening{SectionKind::SensorCall, callLabel(entry, " off")};
        default:
            return {};
    }
}

// The kind of entry that began what this one ends.
std::optional<Kind> beginOf(Kind end) {
    switch (end) {
        case Kind::Reply:
            return Kind::Request;
        case Kind::TraceEnd:
            return Kind::TraceBegin;
        case Kind::SensorPowerOnDone:
            return Kind::SensorPowerOn;
        case Kind::SensorPowerOffDone:
            return Kind::SensorPowerOff;
        default:
            return {};
    }
}

bool tellsFailure(Entry const& end) {
    bool const hasResult = end.kind == Kind::SensorPowerOnDone || end.kind == Kind::SensorPowerOffDone ||
                           (end.kind == Kind::Reply && end.detail == "power on");
    return hasResult && end.number == 0;
}

template <std::size_t size>
char const* levelAt(std::array<char const*, size> const& levels, std::int64_t number) {
    return number >= 0 && number < std::ssize(levels) ? levels[static_cast<std::size_t>(number)] : "info";
}

// Each log numbers its levels in its own way.
std::optional<std::string> levelOf(Entry const& entry) {
    constexpr std::array kDebugPrint{"debug", "error", "warning", "info"};
    constexpr std::array kUnified{"info", "error", "warning", "info", "info", "debug"};
    constexpr std::array kAndroid{"info", "info", "debug", "debug", "info", "warning", "error", "error"};
    switch (entry.kind) {
        case Kind::DebugPrint:
            return levelAt(kDebugPrint, entry.number);
        case Kind::UnifiedLog:
            return levelAt(kUnified, entry.number);
        case Kind::AndroidLog:
            return levelAt(kAndroid, entry.number);
        case Kind::ExceptionReport:
            return "error";
        case Kind::ProfileMark:
            return "profile";
        default:
            return {};
    }
}

std::string markText(Entry const& entry) {
    std::string text = entry.kind == Kind::ProfileMark ? entry.text : entry.shown;
    while (text.ends_with('\n')) text.pop_back();
    text.erase(0, text.find_first_not_of('\n'));
    return text;
}

// Reads a journal from its begin to its end.
class Reader {
  public:
    explicit Reader(Instant begin) {
        mTimeline.begin = mTimeline.end = begin;
        mTimeline.powered.push_back({begin, 0});
    }

    void read(Entry const& entry) {
        mTimeline.end = std::max(mTimeline.end, entry.time);
        Thread& thread = mThreads[entry.thread];
        if (thread.open.empty()) takeRole(thread, entry);
        if (auto opening = openedBy(entry)) open(thread, entry, std::move(*opening));
        if (auto const begin = beginOf(entry.kind)) close(thread, entry, *begin);
        if (auto const level = levelOf(entry)) mark(thread, entry, *level);
        countPowered(entry);
    }

    Timeline finish(Instant now) {
        for (auto& [id, thread] : mThreads) {
            if (!thread.open.empty()) mTimeline.end = std::max(mTimeline.end, now);
            if (!thread.marks.empty()) giveRow(thread, id);
        }
        for (auto& [id, thread] : mThreads) {
            while (!thread.open.empty()) {
                thread.open.back().section.open = true;
                closeInnermost(thread, mTimeline.end);
            }
        }
        sortRows();
        return std::move(mTimeline);
    }

  private:
    struct OpenSection {
        Kind begun;
        Section section;
    };

    struct Thread {
        std::optional<Role> role;
        std::optional<std::size_t> row;
        std::vector<OpenSection> open;
        std::vector<std::size_t> marks;  // made before the thread had a row
        std::optional<Kind> lastLog;     // when the last mark is a line that another log may repeat
        std::size_t lastLine = 0;
    };

    struct RowState {
        Role role;
        bool busy = false;
    };

    // The kernel gives an ended thread's id to another one: whatever begins anew may be by a new thread.
    static void takeRole(Thread& thread, Entry const& entry) {
        auto role = roleShownBy(entry);
        if (!role || role == thread.role) return;
        thread.role = std::move(role);
        thread.row.reset();
    }

    void open(Thread& thread, Entry const& entry, Opening opening) {
        if (thread.open.empty()) {
            if (!thread.row || mRows[*thread.row].busy) giveRow(thread, entry.thread);
            mRows[*thread.row].busy = true;
        }
        Section section;
        section.kind = opening.kind;
        section.label = std::move(opening.label);
        section.begin = entry.time;
        thread.open.push_back({entry.kind, std::move(section)});
    }

    // Ends the innermost section that began so, and with it what it still holds. Without one there is nothing
    // to end: its begin was not traced.
    void close(Thread& thread, Entry const& end, Kind begun) {
        auto const found = std::find_if(thread.open.rbegin(), thread.open.rend(),
                                        [&](OpenSection const& section) { return section.begun == begun; });
        if (found == thread.open.rend()) return;
        found->section.failed = tellsFailure(end);
        for (auto left = std::distance(thread.open.rbegin(), found); left >= 0; --left) {
            closeInnermost(thread, end.time);
        }
    }

    void closeInnermost(Thread& thread, Instant end) {
        Section section = std::move(thread.open.back().section);
        thread.open.pop_back();
        section.end = end;
        bool const outermost = thread.open.empty();
        auto& into = outermost ? mTimeline.rows[*thread.row].sections : thread.open.back().section.inner;
        into.push_back(std::move(section));
        if (outermost) mRows[*thread.row].busy = false;
    }

    void giveRow(Thread& thread, int id) {
        std::size_t const row = rowFor(thread.role.value_or(otherRole(id)), id);
        thread.row = row;
        for (std::size_t const mark : thread.marks) mTimeline.marks[mark].row = row;
        thread.marks.clear();
    }

    // Only workers share a row: a sensor's next power-on is the next thread's.
    std::size_t rowFor(Role const& role, int thread) {
        int alike = 0;
        for (std::size_t row = 0; row < mRows.size(); ++row) {
            if (mRows[row].role != role) continue;
            ++alike;
            auto& threads = mTimeline.rows[row].threads;
            bool const known = std::find(threads.begin(), threads.end(), thread) != threads.end();
            if (mRows[row].busy || (!known && role.is != Role::Is::Worker)) continue;
            if (!known) threads.push_back(thread);
            return row;
        }
        std::string const which = alike > 0 ? " (" + std::to_string(alike + 1) + ')' : "";
        mRows.push_back({role});
        mTimeline.rows.push_back({role.name + which, {thread}, {}});
        return mRows.size() - 1;
    }

    void mark(Thread& thread, Entry const& entry, std::string const& level) {
        bool const isLine = entry.kind == Kind::UnifiedLog || entry.kind == Kind::DebugPrint;
        if (isLine && repeats(thread, entry)) return;
        thread.lastLine = mTimeline.marks.size();
        thread.lastLog = isLine ? std::optional(entry.kind) : std::nullopt;
        if (!thread.row) thread.marks.push_back(thread.lastLine);
        mTimeline.marks.push_back({entry.time, thread.row.value_or(0), level, markText(entry)});
    }

    // A log statement reaches up to two logs, one after the other; the debug print adds where it stands.
    bool repeats(Thread& thread, Entry const& entry) {
        if (!thread.lastLog || *thread.lastLog == entry.kind) return false;
        std::string const text = markText(entry);
        std::string& last = mTimeline.marks[thread.lastLine].text;
        std::string_view const shorter = text.size() < last.size() ? text : last;
        std::string_view const longer = text.size() < last.size() ? last : text;
        if (longer.find(shorter) == std::string_view::npos) return false;
        last = std::string(shorter);
        thread.lastLog.reset();
        return true;
    }

    void countPowered(Entry const& entry) {
        if (entry.number == 0) return;
        if (entry.kind == Kind::SensorPowerOnDone) mPowered.insert(entry.sensor);
        if (entry.kind == Kind::SensorPowerOffDone) mPowered.erase(entry.sensor);
        int const count = static_cast<int>(mPowered.size());
        if (count != mTimeline.powered.back().sensors) mTimeline.powered.push_back({entry.time, count});
    }

    void sortRows() {
        std::vector<std::size_t> order(mRows.size());
        std::iota(order.begin(), order.end(), std::size_t{0});
        std::stable_sort(order.begin(), order.end(), [this](std::size_t left, std::size_t right) {
            Role const& a = mRows[left].role;
            Role const& b = mRows[right].role;
            return std::pair(a.is, a.sensor) < std::pair(b.is, b.sensor);
        });
        std::vector<Row> rows;
        std::vector<std::size_t> place(order.size());
        for (std::size_t const row : order) {
            place[row] = rows.size();
            rows.push_back(std::move(mTimeline.rows[row]));
        }
        for (Mark& mark : mTimeline.marks) mark.row = place[mark.row];
        mTimeline.rows = std::move(rows);
    }

    Timeline mTimeline;
    std::vector<RowState> mRows;  // of the timeline's rows
    std::map<int, Thread> mThreads;
    std::set<int> mPowered;
};

// The smallest of 1, 2, 5, 10, 20, ... nanoseconds that fits no more than `most` times.
nanoseconds tickStep(nanoseconds span, int most) {
    nanoseconds::rep const least = span.count() / std::max(most, 1);
    for (nanoseconds::rep power = 1;; power *= 10) {
        for (nanoseconds::rep const factor : {1, 2, 5}) {
            if (factor * power > least) return nanoseconds(factor * power);
        }
    }
}

struct Unit {
    nanoseconds one;
    char const* name;
};

Unit unitOf(nanoseconds time) {
    using namespace std::chrono_literals;
    if (time >= 1s) return {1s, " s"};
    if (time >= 1ms) return {1ms, " ms"};
    return {1us, " us"};
}

double countOf(nanoseconds time, Unit unit) {
    return std::chrono::duration<double>(time) / std::chrono::duration<double>(unit.one);
}

}  // namespace

Timeline timelineOf(std::vector<Entry> const& entries, Instant now) {
    Reader reader(entries.empty() ? now : entries.front().time);
    for (Entry const& entry : entries) reader.read(entry);
    return reader.finish(now);
}

bool holdsFailure(Section const& section) {
    return section.failed || std::any_of(section.inner.begin(), section.inner.end(), holdsFailure);
}

std::vector<Tick> ticksOf(Timeline const& timeline, int most) {
    nanoseconds const span = timeline.end - timeline.begin;
    nanoseconds const step = tickStep(span, most);
    Unit const unit = unitOf(span);
    std::vector<Tick> ticks;
    for (nanoseconds at{0}; at <= span; at += step) {
        std::ostringstream label;
        label << std::setprecision(9) << countOf(at, unit) << unit.name;
        ticks.push_back({timeline.begin + at, label.str()});
    }
    return ticks;
}

std::string timeText(nanoseconds time) {
    Unit const unit = unitOf(time);
    double const count = countOf(time, unit);
    std::ostringstream text;
    text << std::fixed << std::setprecision(count < 10 ? 2 : count < 100 ? 1 : 0) << count << unit.name;
    return text.str();
}

}  // namespace zeqcam::tool
