#include "analysis/Selection.h"

#include "analysis/ChosenNames.h"

#include <algorithm>
#include <set>

namespace zeqcam::tool {
namespace {

// A selection as a record resolves it.
class Chosen {
  public:
    Chosen(Record const& record, Selection const& selection)
        : mBegin(record.begin + selection.from.value_or(std::chrono::nanoseconds(0))),
          mEnd(selection.to ? record.begin + *selection.to : Instant::max()),
          mNames(record, selection) {}

    [[nodiscard]] Instant begin() const { return mBegin; }
    [[nodiscard]] Instant end() const { return mEnd; }
    [[nodiscard]] bool hasSensor(int sensor) const { return mNames.hasSensor(sensor); }
    [[nodiscard]] bool has(Row const& row) const {
        return (!row.client || mNames.hasClient(*row.client)) &&
               (!row.sensor || mNames.hasSensor(*row.sensor));
    }
    // `inClient`: what a client's thread does is its requests', whichever sensors they name.
    [[nodiscard]] bool has(Section const& section, bool inClient) const {
        return section.begin <= mEnd && section.end >= mBegin &&
               (inClient || !section.sensor || hasSensor(*section.sensor));
    }

  private:
    Instant mBegin;
    Instant mEnd;
    ChosenNames mNames;
};

void keepChosen(std::vector<Section>& sections, Chosen const& chosen, bool inClient) {
    std::erase_if(sections, [&](Section const& section) { return !chosen.has(section, inClient); });
    for (Section& section : sections) keepChosen(section.inner, chosen, inClient);
}

void keepChosen(std::vector<PoweredCount>& powered, Chosen const& chosen) {
    std::erase_if(powered, [&](PoweredCount const& count) { return count.time > chosen.end(); });
    while (powered.size() > 1 && powered[1].time <= chosen.begin()) {
        auto const next = std::find_if(powered.begin() + 1, powered.end(), [&](PoweredCount const& count) {
            return count.time > chosen.begin();
        });
        powered.erase(powered.begin(), next - 1);
    }
    if (!powered.empty()) powered.front().time = std::max(powered.front().time, chosen.begin());
}

}  // namespace

Timeline timelineOf(Record const& record, Selection const& selection) {
    Timeline timeline = timelineOf(record);
    Chosen const chosen(record, selection);
    timeline.begin = std::max(timeline.begin, std::min(chosen.begin(), timeline.end));
    timeline.end = std::max(timeline.begin, std::min(timeline.end, chosen.end()));
    std::set<std::uint32_t> kept;
    for (std::uint32_t index = 0; index < timeline.rows.size(); ++index) {
        Row& row = timeline.rows[index];
        if (chosen.has(row)) kept.insert(index);
        if (!chosen.has(row)) row.sections.clear();
        std::erase_if(row.processor, [&](ProcessorPart const& part) {
            return !chosen.has(row) || part.begin > chosen.end() || part.end < chosen.begin();
        });
        keepChosen(row.sections, chosen, row.client.has_value());
    }
    std::erase_if(timeline.marks, [&](Mark const& mark) {
        return mark.time < timeline.begin || mark.time > timeline.end || !kept.contains(mark.row);
    });
    keepChosen(timeline.powered, chosen);
    return timeline;
}

std::vector<SensorLane> sensorLanesOf(Record const& record, Selection const& selection) {
    std::vector<SensorLane> lanes = sensorLanesOf(record);
    Chosen const chosen(record, selection);
    std::erase_if(lanes, [&](SensorLane const& lane) { return !chosen.hasSensor(lane.sensor); });
    for (SensorLane& lane : lanes) {
        std::erase_if(lane.parts, [&](SensorPart const& part) {
            return part.end < chosen.begin() || part.begin > chosen.end();
        });
    }
    return lanes;
}

}  // namespace zeqcam::tool
