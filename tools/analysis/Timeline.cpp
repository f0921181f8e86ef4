#include "analysis/Timeline.h"

#include "analysis/SectionOpening.h"
#include "analysis/ThreadRole.h"

#include <algorithm>
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

// Reads a record's events from the first to the last.
class TimelineReader {
  public:
    explicit TimelineReader(Record const& record) : mRecord(record), mThreads(record.threads.size()) {
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
        addProcessorTimes(mRecord, mTimeline.rows);
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
        section.number = mSections++;
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
        found->section.why = mTimeline.texts.add(reasonOf(mRecord, end));
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
        if (!thread.open.empty()) mTimeline.marks.back().section = thread.open.back().section.number;
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
    std::uint32_t mSections = 0;  // that were opened
};

}  // namespace

Timeline timelineOf(Record const& record) {
    TimelineReader reader(record);
    for (Event const& event : record.events) reader.read(event);
    return reader.finish();
}

bool holdsFailure(Section const& section) {
    return section.failed || std::any_of(section.inner.begin(), section.inner.end(), holdsFailure);
}

}  // namespace zeqcam::tool
