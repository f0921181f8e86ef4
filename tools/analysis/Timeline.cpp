#include "analysis/Timeline.h"

#include "analysis/SensorNames.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <iterator>
#include <map>
#include <numeric>
#include <optional>
#include <set>
#include <string_view>
#include <utility>

namespace zeqcam::tool {
namespace {

using board::Kind;

// What a thread is, in the order in which the rows stand.
struct Role {
    enum class Is : std::uint8_t { Client, Worker, Queue, Other };
    Is is = Is::Other;
    std::int64_t order = 0;  // among those alike: the place in the record of the client, sensor, controller
    std::string name;
    std::optional<int> sensor{};  // of a worker

    bool operator==(Role const&) const = default;
};

Role clientOf(Record const& record, Event const& event) {
    std::size_t const order = event.request ? record.requests[*event.request].client : record.clients.size();
    return {Role::Is::Client, static_cast<std::int64_t>(order), std::string(record.textOf(event.text))};
}

Role workerOf(Record const& record, int sensor) {
    return {Role::Is::Worker, record.placeOfSensor(sensor), sensorTitle(record, sensor) + " worker", sensor};
}

Role otherRole(Record const& record, Record::Thread const& thread) {
    if (!thread.id) return {Role::Is::Other, 0, "a thread"};
    bool const isMain = record.process == *thread.id;
    return {Role::Is::Other, 0, isMain ? "main" : "thread " + std::to_string(*thread.id)};
}

// What a thread shows itself to be by this event.
std::optional<Role> roleShownBy(Record const& record, Event const& event) {
    switch (event.kind) {
        case Kind::Request:
            return clientOf(record, event);
        case Kind::TaskRun:
            return Role{Role::Is::Queue, 0, std::string(record.textOf(event.text))};
        case Kind::SensorPowerOn:
            return event.sensor ? std::optional(workerOf(record, *event.sensor)) : std::nullopt;
        case Kind::TraceBegin:
            if (auto const label = sensorLabel(record, record.textOf(event.text)); label.powersOn)
                return workerOf(record, *label.sensor);
            return {};
        default:
            return {};
    }
}

struct Opening {
    SectionKind kind;
    std::string label;
    std::array<std::string, 2> briefs{};
    std::optional<int> sensor{};
};

Opening requestOpening(Record const& record, Event const& event) {
    std::string_view const name = record.textOf(event.detail);
    RequestKind const kind = requestKindOf(name);
    Opening opening{kind == RequestKind::Wait ? SectionKind::Wait : SectionKind::Request, std::string(name)};
    auto const sensors = event.request ? record.requests[*event.request].sensors : std::nullopt;
    if (!sensors || sensors->empty()) return opening;
    std::string names;
    std::string ids;
    for (int const sensor : *sensors) {
        names += ' ' + sensorWord(record, sensor);
        ids += ' ' + std::to_string(sensor);
    }
    std::string const last(name.substr(name.rfind(' ') + 1));  // "on" of "power on"
    opening.label += names;
    opening.briefs = {last + names, last + ids};
    return opening;
}

Opening callOpening(Record const& record, Event const& event, char const* change) {
    std::string const sensor = event.sensor ? sensorTitle(record, *event.sensor) : "sensor ?";
    return {SectionKind::SensorCall, sensor + ' ' + change, {change}, event.sensor};
}

Opening sectionOpening(Record const& record, Event const& event) {
    auto const [label, sensor, powersOn] = sensorLabel(record, record.textOf(event.text));
    Opening opening{SectionKind::Trace, label, {}, sensor};
    if (sensor) opening.briefs = {sensorWord(record, *sensor), std::to_string(*sensor)};
    return opening;
}

std::optional<Opening> openedBy(Record const& record, Event const& event) {
    switch (event.kind) {
        case Kind::Request:
            return requestOpening(record, event);
        case Kind::TraceBegin:
            return sectionOpening(record, event);
        case Kind::SensorPowerOn:
            return callOpening(record, event, "on");
        case Kind::SensorPowerOff:
            return callOpening(record, event, "off");
        default:
            return {};
    }
}

// The kind of event that began what this one ends.
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

bool tellsFailure(Record const& record, Event const& end) {
    bool const hasResult =
        end.kind == Kind::SensorPowerOnDone || end.kind == Kind::SensorPowerOffDone ||
        (end.kind == Kind::Reply && requestKindOf(record.textOf(end.detail)) == RequestKind::PowerOn);
    return hasResult && end.number == std::int64_t{0};
}

template <std::size_t size>
Level levelAt(std::array<Level, size> const& levels, std::int64_t number) {
    return number >= 0 && number < std::ssize(levels) ? levels[static_cast<std::size_t>(number)]
                                                      : Level::Info;
}

// Each log numbers its levels in its own way.
std::optional<Level> levelOf(Event const& event) {
    using enum Level;
    constexpr std::array kDebugPrint{Debug, Error, Warning, Info};
    constexpr std::array kUnified{Info, Error, Warning, Info, Info, Debug};
    constexpr std::array kAndroid{Info, Info, Debug, Debug, Info, Warning, Error, Error};
    std::int64_t const number = event.number.value_or(-1);
    switch (event.kind) {
        case Kind::DebugPrint:
            return levelAt(kDebugPrint, number);
        case Kind::UnifiedLog:
            return levelAt(kUnified, number);
        case Kind::AndroidLog:
            return levelAt(kAndroid, number);
        case Kind::ExceptionReport:
            return Error;
        case Kind::ProfileMark:
            return Profile;
        default:
            return {};
    }
}

std::string_view markText(Record const& record, Event const& event) {
    std::string_view text = record.textOf(event.kind == Kind::ProfileMark ? event.text : event.shown);
    while (text.ends_with('\n')) text.remove_suffix(1);
    while (text.starts_with('\n')) text.remove_prefix(1);
    return text;
}

// Reads a record's events from the first to the last.
class Reader {
  public:
    explicit Reader(Record const& record) : mRecord(record), mThreads(record.threads.size()) {
        mTimeline.zero = mTimeline.begin = mTimeline.end = record.begin;
        mTimeline.powered.push_back({record.begin, 0});
    }

    void read(Event const& event) {
        mTimeline.end = std::max(mTimeline.end, event.time);
        ThreadState& thread = mThreads[event.thread];
        if (thread.open.empty()) takeRole(thread, event);
        if (auto const opening = openedBy(mRecord, event)) open(thread, event, *opening);
        if (event.kind == Kind::SensorPowerOff && event.sensor)
            mRows[*thread.row].poweredOff.insert(*event.sensor);
        if (auto const begin = beginOf(event.kind)) close(thread, event, *begin);
        if (auto const level = levelOf(event)) mark(thread, event, *level);
        countPowered(event);
    }

    Timeline finish() {
        for (std::uint32_t index = 0; index < mThreads.size(); ++index) {
            ThreadState& thread = mThreads[index];
            if (!thread.open.empty()) mTimeline.end = std::max(mTimeline.end, mRecord.end);
            if (!thread.marks.empty()) giveRow(thread, index);
        }
        for (ThreadState& thread : mThreads) {
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

    struct ThreadState {
        std::optional<Role> role;
        std::optional<std::uint32_t> row;
        std::vector<OpenSection> open;
        std::vector<std::size_t> marks;  // made before the thread had a row
        std::optional<Kind> lastLog;     // when the last mark is a line that another log may repeat
        std::size_t lastLine = 0;
    };

    struct RowState {
        Role role;
        bool busy = false;
        std::set<int> poweredOff;  // sensors, on a queue's thread
    };

    // A source may take threads with one id for one: whatever begins anew may be by a new thread.
    void takeRole(ThreadState& thread, Event const& event) const {
        auto role = roleShownBy(mRecord, event);
        if (!role || role == thread.role) return;
        thread.role = std::move(role);
        thread.row.reset();
    }

    void open(ThreadState& thread, Event const& event, Opening const& opening) {
        // A client makes one request after another: what is still open has ended unseen.
        if (event.kind == Kind::Request) close(thread, event, Kind::Request);
        if (thread.open.empty()) {
            if (!thread.row || mRows[*thread.row].busy) giveRow(thread, event.thread);
            mRows[*thread.row].busy = true;
        }
        Section section;
        section.kind = opening.kind;
        section.label = mTimeline.texts.add(opening.label);
        for (std::size_t i = 0; i < opening.briefs.size(); ++i)
            section.briefLabels[i] = mTimeline.texts.add(opening.briefs[i]);
        section.begin = event.time;
        section.sensor = opening.sensor;
        section.thread = event.thread;
        if (event.kind == Kind::Request) section.request = event.request;
        thread.open.push_back({event.kind, std::move(section)});
    }

    // Ends the innermost section that began so, and with it what it still holds. Without one there is nothing
    // to end: its begin was not traced.
    void close(ThreadState& thread, Event const& end, Kind begun) {
        auto const found = std::find_if(thread.open.rbegin(), thread.open.rend(),
                                        [&](OpenSection const& section) { return section.begun == begun; });
        if (found == thread.open.rend()) return;
        found->section.failed = tellsFailure(mRecord, end);
        for (auto left = std::distance(thread.open.rbegin(), found); left >= 0; --left) {
            closeInnermost(thread, end.time);
        }
    }

    void closeInnermost(ThreadState& thread, Instant end) {
        Section section = std::move(thread.open.back().section);
        thread.open.pop_back();
        section.end = end;
        bool const outermost = thread.open.empty();
        auto& into = outermost ? mTimeline.rows[*thread.row].sections : thread.open.back().section.inner;
        into.push_back(std::move(section));
        if (outermost) mRows[*thread.row].busy = false;
    }

    void giveRow(ThreadState& thread, std::uint32_t index) {
        Role const role = thread.role ? *thread.role : otherRole(mRecord, mRecord.threads[index]);
        std::uint32_t const row = rowFor(role, index);
        thread.row = row;
        for (std::size_t const mark : thread.marks) mTimeline.marks[mark].row = row;
        thread.marks.clear();
    }

    // Only workers share a row: a sensor's next power-on is the next thread's.
    std::uint32_t rowFor(Role const& role, std::uint32_t thread) {
        for (std::uint32_t row = 0; row < mRows.size(); ++row) {
            if (mRows[row].role != role) continue;
            auto& threads = mTimeline.rows[row].threads;
            bool const known = std::find(threads.begin(), threads.end(), thread) != threads.end();
            if (mRows[row].busy || (!known && role.is != Role::Is::Worker)) continue;
            if (!known) threads.push_back(thread);
            return row;
        }
        mRows.push_back({role});
        mTimeline.rows.push_back({{}, {thread}, {}});
        return static_cast<std::uint32_t>(mRows.size() - 1);
    }

    void mark(ThreadState& thread, Event const& event, Level level) {
        bool const isLine = event.kind == Kind::UnifiedLog || event.kind == Kind::DebugPrint;
        if (isLine && repeats(thread, event)) return;
        thread.lastLine = mTimeline.marks.size();
        thread.lastLog = isLine ? std::optional(event.kind) : std::nullopt;
        if (!thread.row) thread.marks.push_back(thread.lastLine);
        mTimeline.marks.push_back({event.time, thread.row.value_or(0), level,
                                   mTimeline.texts.add(markText(mRecord, event)), event.thread});
    }

    // A log statement reaches up to two logs, one after the other; the debug print adds where it stands.
    bool repeats(ThreadState& thread, Event const& event) {
        if (!thread.lastLog || *thread.lastLog == event.kind) return false;
        std::string_view const text = markText(mRecord, event);
        TextId& last = mTimeline.marks[thread.lastLine].text;
        std::string_view const lastText = mTimeline.textOf(last);
        auto const [shorter, longer] =
            std::minmax(text, lastText, [](auto const& a, auto const& b) { return a.size() < b.size(); });
        if (longer.find(shorter) == std::string_view::npos) return false;
        last = mTimeline.texts.add(shorter);
        thread.lastLog.reset();
        return true;
    }

    void countPowered(Event const& event) {
        if (!mTimeline.powered.back().sensors) return;
        if (mayPowerOffAny(event)) {
            mTimeline.powered.push_back({event.time, {}});
            return;
        }
        if (!event.sensor || event.number.value_or(1) == 0) return;
        if (event.kind == Kind::SensorPowerOnDone) mPowered.insert(*event.sensor);
        if (event.kind == Kind::SensorPowerOffDone) mPowered.erase(*event.sensor);
        int const count = static_cast<int>(mPowered.size());
        if (count != mTimeline.powered.back().sensors) mTimeline.powered.push_back({event.time, count});
    }

    // A power-off whose sensors are unknown.
    [[nodiscard]] bool mayPowerOffAny(Event const& event) const {
        if (event.kind != Kind::Request || !event.request) return false;
        Request const& request = mRecord.requests[*event.request];
        return request.kind == RequestKind::PowerOff && !request.sensors;
    }

    // The controller whose queue a row is: the only one that drives all that is powered off there.
    [[nodiscard]] std::optional<std::uint32_t> controllerOf(RowState const& row) const {
        std::optional<std::uint32_t> found;
        if (row.role.is != Role::Is::Queue || row.poweredOff.empty()) return found;
        for (std::uint32_t index = 0; index < mRecord.controllers.size(); ++index) {
            std::set<int> const drives(mRecord.controllers[index].sensors.begin(),
                                       mRecord.controllers[index].sensors.end());
            if (!std::includes(drives.begin(), drives.end(), row.poweredOff.begin(), row.poweredOff.end()))
                continue;
            if (found) return {};
            found = index;
        }
        return found;
    }

    void nameQueues() {
        for (RowState& row : mRows) {
            if (row.role.is != Role::Is::Queue) continue;
            auto const controller = controllerOf(row);
            row.role.order = controller ? *controller : static_cast<std::int64_t>(mRecord.controllers.size());
            if (controller) {
                row.role.name +=
                    " (" + std::string(mRecord.textOf(mRecord.controllers[*controller].name)) + ')';
            }
        }
    }

    void sortRows() {
        nameQueues();
        std::vector<std::size_t> order(mRows.size());
        std::iota(order.begin(), order.end(), std::size_t{0});
        std::stable_sort(order.begin(), order.end(), [this](std::size_t left, std::size_t right) {
            Role const& a = mRows[left].role;
            Role const& b = mRows[right].role;
            return std::pair(a.is, a.order) < std::pair(b.is, b.order);
        });
        std::vector<Row> rows;
        std::vector<std::uint32_t> place(order.size());
        std::map<std::string_view, int> alike;
        for (std::size_t const row : order) {
            std::string const& name = mRows[row].role.name;
            int const number = ++alike[name];
            place[row] = static_cast<std::uint32_t>(rows.size());
            rows.push_back(std::move(mTimeline.rows[row]));
            Role const& role = mRows[row].role;
            rows.back().sensor = role.sensor;
            if (role.is == Role::Is::Client && role.order < std::ssize(mRecord.clients))
                rows.back().client = static_cast<std::uint32_t>(role.order);
            rows.back().name = number == 1 ? name : name + " (" + std::to_string(number) + ')';
        }
        for (Mark& mark : mTimeline.marks) mark.row = place[mark.row];
        mTimeline.rows = std::move(rows);
    }

    Record const& mRecord;
    Timeline mTimeline;
    std::vector<RowState> mRows;        // of the timeline's rows
    std::vector<ThreadState> mThreads;  // of the record's threads
    std::set<int> mPowered;
};

}  // namespace

Timeline timelineOf(Record const& record) {
    Reader reader(record);
    for (Event const& event : record.events) reader.read(event);
    return reader.finish();
}

std::string_view nameOf(Level level) {
    switch (level) {
        case Level::Error:
            return "error";
        case Level::Warning:
            return "warning";
        case Level::Info:
            return "info";
        case Level::Debug:
            return "debug";
        case Level::Profile:
            return "profile";
    }
    return "?";
}

bool holdsFailure(Section const& section) {
    return section.failed || std::any_of(section.inner.begin(), section.inner.end(), holdsFailure);
}

}  // namespace zeqcam::tool
