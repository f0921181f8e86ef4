#include "views/PageTimeline.h"

#include "analysis/Causes.h"
#include "analysis/ProcessorTime.h"
#include "analysis/SensorLanes.h"
#include "analysis/SensorNames.h"
#include "analysis/Timeline.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

namespace zeqcam::tool {
namespace {

using nlohmann::ordered_json;

template <class Value>
ordered_json orNull(Value const& value) {
    return value ? ordered_json(*value) : ordered_json();
}

// A list for each of these members.
ordered_json listsOf(std::vector<char const*> const& members) {
    ordered_json lists = ordered_json::object();
    for (char const* const member : members) lists[member] = ordered_json::array();
    return lists;
}

class Writer {
  public:
    Writer(Record const& record, Selection const& selection)
        : mRecord(record), mTimeline(timelineOf(record, selection)) {
        for (Cause const& cause : causesOf(record)) mCauses[cause.working].push_back(cause);
        for (std::uint32_t row = 0; row < mTimeline.rows.size(); ++row) addRow(row);
        for (Mark const& mark : mTimeline.marks) addMark(mark);
        for (SensorLane const& lane : sensorLanesOf(record, selection)) addLane(lane);
        for (PoweredCount const& count : mTimeline.powered) {
            mPowered["time"].push_back(since(count.time));
            mPowered["sensors"].push_back(orNull(count.sensors));
        }
    }

    [[nodiscard]] ordered_json finish() {
        return {{"begin", since(mTimeline.begin)}, {"end", since(mTimeline.end)},
                {"rows", std::move(mRows)},        {"sections", std::move(mSections)},
                {"marks", std::move(mMarks)},      {"lanes", std::move(mLanes)},
                {"powered", std::move(mPowered)},  {"texts", std::move(mTexts)}};
    }

  private:
    using Index = std::optional<std::size_t>;

    [[nodiscard]] std::int64_t since(Instant time) const { return (time - mTimeline.zero).count(); }

    std::size_t textIndex(std::string_view text) {
        auto const [found, isNew] = mTextIndices.emplace(text, mTexts.size());
        if (isNew) mTexts.push_back(text);
        return found->second;
    }

    void addRow(std::uint32_t index) {
        Row const& row = mTimeline.rows[index];
        mRows.push_back(
            {{"name", row.name},
             {"client",
              row.client ? ordered_json(mRecord.textOf(mRecord.clients[*row.client].name)) : ordered_json()},
             {"sensor", orNull(row.sensor)},
             {"processor", processorOf(row)}});
        for (Section const& section : row.sections) add(section, index, 0, {}, {});
    }

    // What its threads did for the processor; null: unknown.
    [[nodiscard]] ordered_json processorOf(Row const& row) const {
        if (row.processor.empty()) return {};
        ordered_json parts = listsOf({"begin", "end", "state"});
        for (ProcessorPart const& part : row.processor) {
            parts["begin"].push_back(since(part.begin));
            parts["end"].push_back(since(part.end));
            parts["state"].push_back(nameOf(part.state));
        }
        return parts;
    }

    // `request`: that of the section that holds this one.
    void add(Section const& section, std::uint32_t row, int depth, Index holder,
             OptionalNumber<std::uint32_t> request) {
        if (section.request) request = section.request;
        if (!request) request = causeOf(section);
        std::size_t const index = mSections["row"].size();
        mIndices[section.number] = index;
        mSections["row"].push_back(row);
        mSections["depth"].push_back(depth);
        mSections["holder"].push_back(orNull(holder));
        mSections["begin"].push_back(since(section.begin));
        mSections["end"].push_back(since(section.end));
        mSections["kind"].push_back(static_cast<int>(section.kind));
        mSections["label"].push_back(textIndex(mTimeline.textOf(section.label)));
        mSections["state"].push_back(section.open ? 2 : section.failed ? 1 : 0);
        mSections["request"].push_back(orNull(request));
        mSections["sensor"].push_back(orNull(section.sensor));
        for (Section const& inner : section.inner) add(inner, row, depth + 1, index, request);
    }

    // The request that a worker or a task works for in this section.
    [[nodiscard]] OptionalNumber<std::uint32_t> causeOf(Section const& section) const {
        auto const found = mCauses.find(section.thread);
        if (found == mCauses.end()) return {};
        auto const& causes = found->second;
        auto const first =
            std::lower_bound(causes.begin(), causes.end(), section.begin,
                             [](Cause const& cause, Instant begin) { return cause.began < begin; });
        if (first == causes.end() || first->began > section.end) return {};
        return first->request;
    }

    // Null: it was in none, or that is not shown.
    [[nodiscard]] ordered_json sectionOf(Mark const& mark) const {
        auto const found = mark.section ? mIndices.find(*mark.section) : mIndices.end();
        return found != mIndices.end() ? ordered_json(found->second) : ordered_json();
    }

    void addMark(Mark const& mark) {
        mMarks["time"].push_back(since(mark.time));
        mMarks["row"].push_back(mark.row);
        mMarks["level"].push_back(nameOf(mark.level));
        mMarks["text"].push_back(textIndex(mTimeline.textOf(mark.text)));
        mMarks["section"].push_back(sectionOf(mark));
    }

    void addLane(SensorLane const& lane) {
        ordered_json parts = listsOf({"begin", "end", "state", "clients", "conflict"});
        for (SensorPart const& part : lane.parts) {
            parts["begin"].push_back(since(part.begin));
            parts["end"].push_back(since(part.end));
            parts["state"].push_back(nameOf(part.state));
            parts["clients"].push_back(textIndex(clientsText(mRecord, part)));
            parts["conflict"].push_back(isConflict(part));
        }
        mLanes.push_back({{"sensor", lane.sensor},
                          {"name", sensorTitle(mRecord, lane.sensor)},
                          {"parts", std::move(parts)}});
    }

    Record const& mRecord;
    Timeline const mTimeline;
    std::map<std::uint32_t, std::vector<Cause>> mCauses;      // by the thread that works
    std::unordered_map<std::uint32_t, std::size_t> mIndices;  // of sections, by their numbers
    std::map<std::string, std::size_t, std::less<>> mTextIndices;
    ordered_json mTexts = ordered_json::array();
    ordered_json mRows = ordered_json::array();
    ordered_json mSections =
        listsOf({"row", "depth", "holder", "begin", "end", "kind", "label", "state", "request", "sensor"});
    ordered_json mMarks = listsOf({"time", "row", "level", "text", "section"});
    ordered_json mLanes = ordered_json::array();
    ordered_json mPowered = listsOf({"time", "sensors"});
};

}  // namespace

ordered_json pageTimelineOf(Record const& record, Selection const& selection) {
    return Writer(record, selection).finish();
}

}  // namespace zeqcam::tool
