#include "views/TraceFile.h"

#include "analysis/Causes.h"
#include "analysis/Selection.h"
#include "analysis/SensorNames.h"
#include "text/JsonText.h"
#include "text/TimeText.h"
#include "views/RequestText.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <iterator>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>

namespace zeqcam::tool {
namespace {

using nlohmann::json;

// By which viewers filter.
char const* categoryOf(SectionKind kind) {
    switch (kind) {
        case SectionKind::Request:
            return "request";
        case SectionKind::Wait:
            return "wait";
        case SectionKind::Trace:
            return "section";
        case SectionKind::SensorCall:
            return "sensor";
    }
    return "";
}

// Above the ids that the kernel gives: for threads whose id is not known or has a track already, and, added
// to a thread's own, for what it did for the processor.
constexpr int kOtherThreads = 1 << 22;
constexpr int kProcessorTracks = 1 << 24;

class Events {
  public:
    Events(Record const& record, Presentation const& presentation, std::ostream& out)
        : mRecord(record),
          mTimeline(timelineOf(record, presentation.selection)),
          mProcess(record.process.value_or(1)),
          mOut(out) {
        nameThreads(presentation.title);
        for (std::uint32_t row = 0; row < mTimeline.rows.size(); ++row) {
            for (Section const& section : mTimeline.rows[row].sections)
                add(section, threadOf(row, section.thread));
        }
        for (Cause const& cause : causesOf(record)) add(cause);
        for (Mark const& mark : mTimeline.marks) add(mark);
        for (PoweredCount const& count : mTimeline.powered) add(count);
        for (SensorLane const& lane : sensorLanesOf(record, presentation.selection)) add(lane);
        for (std::uint32_t row = 0; row < mTimeline.rows.size(); ++row) addProcessorTimes(row);
    }

  private:
    // Each at once: together they take many times as much as the record.
    void write(json const& event) { mOut << std::exchange(mSeparator, ",\n") << jsonText(event); }

    void writeMetadata(char const* what, int thread, json values) {
        write({{"ph", "M"}, {"name", what}, {"pid", mProcess}, {"tid", thread}, {"args", std::move(values)}});
    }

    void nameThreads(std::string const& process) {
        writeMetadata("process_name", mProcess, {{"name", process}});
        std::string labels = std::string(nameOf(mRecord.clock)) + " clock";
        if (mRecord.toWallClock) {
            auto const began = mTimeline.zero.time_since_epoch() + *mRecord.toWallClock;
            labels += ", began " + wallClockText(began);
        }
        json about{{"labels", labels}};
        if (mRecord.toWallClock) {
            auto const began = mTimeline.zero.time_since_epoch() + *mRecord.toWallClock;
            about["wall_clock_ns"] = std::to_string(began.count());
        }
        writeMetadata("process_labels", mProcess, std::move(about));
        std::set<std::uint32_t> marked;
        for (Mark const& mark : mTimeline.marks) marked.insert(mark.row);
        for (std::uint32_t row = 0; row < mTimeline.rows.size(); ++row) {
            if (mTimeline.rows[row].sections.empty() && !marked.contains(row)) continue;
            int number = 0;
            for (std::uint32_t const thread : mTimeline.rows[row].threads) {
                std::string const which = ++number > 1 ? " #" + std::to_string(number) : "";
                int const id = threadOf(row, thread);
                json values{{"name", mTimeline.rows[row].name + which}};
                auto const kernel = mRecord.threads[thread].id;
                if (kernel && *kernel != id) values["kernel_tid"] = *kernel;
                writeMetadata("thread_name", id, std::move(values));
                writeMetadata("thread_sort_index", id, {{"sort_index", ++mNamed}});
            }
        }
    }

    // The kernel's id. It gives an ended thread's anew: what a thread was in another row is another to the
    // viewer.
    int threadOf(std::uint32_t row, std::uint32_t thread) {
        auto const [known, isNew] = mThreads.emplace(std::pair(row, thread), 0);
        if (!isNew) return known->second;
        mRows[thread].insert(row);
        int const other = kOtherThreads + static_cast<int>(mThreads.size());
        int const id = mRecord.threads[thread].id.value_or(other);
        known->second = mTaken.insert(id).second ? id : other;
        return known->second;
    }

    [[nodiscard]] json event(char const* phase, std::string_view name, Instant time, int thread) const {
        double const microseconds = std::chrono::duration<double, std::micro>(time - mTimeline.zero).count();
        return {{"ph", phase}, {"name", name}, {"ts", microseconds}, {"pid", mProcess}, {"tid", thread}};
    }

    // A begin and an end, alike but for the time: viewers match them by name and values. Times of complete
    // events are sums, whose rounding can break the nesting.
    void add(Section const& section, int thread) {
        json slice = event("B", mTimeline.textOf(section.label), section.begin, thread);
        slice["cat"] = categoryOf(section.kind);
        if (json values = valuesOf(section); !values.empty()) slice["args"] = std::move(values);
        write(slice);
        for (Section const& inner : section.inner) add(inner, thread);
        slice["ph"] = "E";
        slice["ts"] = event("E", {}, section.end, thread)["ts"];
        write(slice);
    }

    [[nodiscard]] json valuesOf(Section const& section) const {
        json values;
        if (section.failed) values["failed"] = true;
        if (section.why != TextId::Empty) values["why"] = std::string(mTimeline.textOf(section.why));
        if (section.open) values["open"] = true;
        if (section.sensor) {
            values["sensor"] = mRecord.nameOfSensor(*section.sensor);
            values["sensor_id"] = *section.sensor;
        }
        if (!section.request) return values;
        Request const& request = mRecord.requests[*section.request];
        for (int const sensor : sensorsOf(request)) {
            values["sensors"].push_back(mRecord.nameOfSensor(sensor));
            values["sensor_ids"].push_back(sensor);
        }
        values["client"] = mRecord.nameOfClient(request.client);
        values["result"] = resultText(request);
        return values;
    }

    // An arrow from the request to the work that is done for it.
    void add(Cause const& cause) {
        auto const from = rowOf(cause.asking, cause.asked);
        auto const to = rowOf(cause.working, cause.began);
        if (!from || !to) return;
        ++mArrows;
        for (auto const& [phase, time, thread] : {std::tuple{"s", cause.asked, threadOf(*from, cause.asking)},
                                                  {"f", cause.began, threadOf(*to, cause.working)}}) {
            json arrow = event(phase, mRecord.textOf(mRecord.requests[cause.request].name), time, thread);
            arrow["cat"] = "cause";
            arrow["id"] = mArrows;
            if (*phase == 'f') arrow["bp"] = "e";
            write(arrow);
        }
    }

    // What each thread did for the processor, on a track beside its own, where the source knows it.
    void addProcessorTimes(std::uint32_t row) {
        std::set<std::uint32_t> named;
        for (ProcessorPart const& part : mTimeline.rows[row].processor) {
            int const track = kProcessorTracks + threadOf(row, part.thread);
            if (named.insert(part.thread).second) {
                writeMetadata("thread_name", track, {{"name", mTimeline.rows[row].name + " on a processor"}});
                writeMetadata("thread_sort_index", track, {{"sort_index", ++mNamed}});
            }
            json slice = event("X", nameOf(part.state), part.begin, track);
            slice["dur"] = std::chrono::duration<double, std::micro>(part.end - part.begin).count();
            slice["cat"] = "sched";
            write(slice);
        }
    }

    // The row in which a thread is in a section at that time.
    [[nodiscard]] std::optional<std::uint32_t> rowOf(std::uint32_t thread, Instant time) const {
        auto const rows = mRows.find(thread);
        if (rows == mRows.end()) return {};
        for (std::uint32_t const row : rows->second) {
            auto const& sections = mTimeline.rows[row].sections;
            auto const after = std::upper_bound(
                sections.begin(), sections.end(), time,
                [](Instant instant, Section const& section) { return instant < section.begin; });
            if (after == sections.begin()) continue;
            Section const& section = *std::prev(after);
            if (section.thread == thread && section.end >= time) return row;
        }
        return {};
    }

    void add(Mark const& mark) {
        json instant = event("i", mTimeline.textOf(mark.text), mark.time, threadOf(mark.row, mark.thread));
        instant["s"] = "t";
        instant["cat"] = mark.level == Level::Profile ? "profile" : "log";
        instant["args"] = {{"level", nameOf(mark.level)}};
        write(instant);
    }

    void addCounter(std::string const& name, Instant time, json values) {
        json counter = event("C", name, time, mProcess);
        counter["args"] = std::move(values);
        write(counter);
    }

    void add(PoweredCount const& count) {
        if (count.sensors) addCounter("sensors powered", count.time, {{"sensors", *count.sensors}});
    }

    void add(SensorLane const& lane) {
        std::string const name = sensorTitle(mRecord, lane.sensor);
        for (SensorPart const& part : lane.parts) {
            addCounter(name, part.begin,
                       {{"on", part.state == SensorState::On ? 1 : 0}, {"clients", part.clients.size()}});
        }
    }

    Record const& mRecord;
    Timeline const mTimeline;
    int const mProcess;
    std::ostream& mOut;
    char const* mSeparator = "\n";
    std::map<std::pair<std::uint32_t, std::uint32_t>, int> mThreads;  // the viewer's, by row and thread
    std::map<std::uint32_t, std::set<std::uint32_t>> mRows;           // of a thread
    std::set<int> mTaken;                                             // ids of threads in the file
    int mNamed = 0;
    int mArrows = 0;
};

}  // namespace

void writeTrace(Record const& record, Presentation const& presentation, std::ostream& out) {
    out << R"({"displayTimeUnit":"ms","traceEvents":[)";
    Events const written(record, presentation, out);
    out << "\n]}\n";
}

}  // namespace zeqcam::tool
