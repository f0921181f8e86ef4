#include "views/TraceFile.h"

#include "analysis/Timeline.h"

#include <nlohmann/json.hpp>

#include <chrono>
#include <string>
#include <string_view>
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

class Events {
  public:
    Events(Record const& record, std::string const& process)
        : mTimeline(timelineOf(record)), mProcess(record.process.value_or(1)) {
        Timeline const& timeline = mTimeline;
        mEvents.push_back(metadata("process_name", mProcess, {{"name", process}}));
        for (std::size_t row = 0; row < timeline.rows.size(); ++row) {
            mEvents.push_back(metadata("thread_name", threadOf(row), {{"name", timeline.rows[row].name}}));
            mEvents.push_back(metadata("thread_sort_index", threadOf(row), {{"sort_index", row}}));
        }
        for (std::size_t row = 0; row < timeline.rows.size(); ++row) {
            for (Section const& section : timeline.rows[row].sections) add(section, threadOf(row));
        }
        for (Mark const& mark : timeline.marks) add(mark);
        for (PoweredCount const& count : timeline.powered) add(count);
    }

    json take() { return std::move(mEvents); }

  private:
    [[nodiscard]] json metadata(char const* what, int thread, json values) const {
        return {{"ph", "M"}, {"name", what}, {"pid", mProcess}, {"tid", thread}, {"args", std::move(values)}};
    }

    // Workers come and go under ids that the kernel gives anew: a row is a thread to the viewer, under an id
    // of its own.
    [[nodiscard]] int threadOf(std::size_t row) const { return mProcess + 1 + static_cast<int>(row); }

    [[nodiscard]] json event(char const* phase, std::string_view name, Instant time, int thread) const {
        double const microseconds = std::chrono::duration<double, std::micro>(time - mTimeline.begin).count();
        return {{"ph", phase}, {"name", name}, {"ts", microseconds}, {"pid", mProcess}, {"tid", thread}};
    }

    // A begin and an end, alike but for the time: viewers match them by name and values. Times of complete
    // events are sums, whose rounding can break the nesting.
    void add(Section const& section, int thread) {
        addSlice("B", section, section.begin, thread);
        for (Section const& inner : section.inner) add(inner, thread);
        addSlice("E", section, section.end, thread);
    }

    void addSlice(char const* phase, Section const& section, Instant time, int thread) {
        json slice = event(phase, mTimeline.textOf(section.label), time, thread);
        slice["cat"] = categoryOf(section.kind);
        if (section.failed) slice["args"]["failed"] = true;
        if (section.open) slice["args"]["open"] = true;
        mEvents.push_back(std::move(slice));
    }

    void add(Mark const& mark) {
        json instant = event("i", mTimeline.textOf(mark.text), mark.time, threadOf(mark.row));
        instant["s"] = "t";
        instant["cat"] = mark.level == Level::Profile ? "profile" : "log";
        instant["args"] = {{"level", nameOf(mark.level)}};
        mEvents.push_back(std::move(instant));
    }

    void add(PoweredCount const& count) {
        json counter = event("C", "sensors powered", count.time, mProcess);
        counter["args"] = {{"sensors", count.sensors}};
        mEvents.push_back(std::move(counter));
    }

    Timeline const mTimeline;
    int const mProcess;
    json mEvents = json::array();
};

}  // namespace

void writeTrace(Record const& record, Presentation const& presentation, std::ostream& out) {
    json const file{{"displayTimeUnit", "ms"}, {"traceEvents", Events(record, presentation.title).take()}};
    out << file.dump(-1, ' ', false, json::error_handler_t::replace) << '\n';
}

}  // namespace zeqcam::tool
