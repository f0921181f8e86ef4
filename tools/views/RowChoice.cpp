#include "views/RowChoice.h"

#include <algorithm>

namespace zeqcam::tool {
namespace {

bool fails(Row const& row) {
    return std::any_of(row.sections.begin(), row.sections.end(), holdsFailure);
}

bool conflicts(SensorLane const& lane) {
    return std::any_of(lane.parts.begin(), lane.parts.end(), isConflict);
}

std::string leftOutText(std::size_t rows, std::size_t lanes) {
    std::string text;
    auto const tell = [&text](std::size_t count, std::string const& what) {
        if (count == 0) return;
        text += (text.empty() ? "" : ", ") + std::to_string(count) + ' ' + what + (count == 1 ? "" : "s");
    };
    tell(rows, "thread row");
    tell(lanes, "sensor lane");
    return text;
}

}  // namespace

RowChoice chooseRows(Timeline const& timeline, std::vector<SensorLane> const& lanes, double room,
                     std::function<double(Row const& row)> const& heightOf, double laneHeight) {
    RowChoice choice;
    auto const addRows = [&](bool failing, bool ofClients) {
        for (std::size_t index = 0; index < timeline.rows.size(); ++index) {
            Row const& row = timeline.rows[index];
            if (row.sections.empty() || row.client.has_value() != ofClients || fails(row) != failing)
                continue;
            double const height = heightOf(row);
            if (height > room) continue;
            room -= height;
            choice.rows.insert(index);
        }
    };
    auto const addLanes = [&](bool conflicting) {
        for (std::size_t index = 0; index < lanes.size(); ++index) {
            if (conflicts(lanes[index]) != conflicting || laneHeight > room) continue;
            room -= laneHeight;
            choice.lanes.insert(index);
        }
    };
    addRows(true, true);
    addRows(true, false);
    addLanes(true);
    addRows(false, true);
    addLanes(false);
    addRows(false, false);
    auto const rows = std::count_if(timeline.rows.begin(), timeline.rows.end(),
                                    [](Row const& row) { return !row.sections.empty(); });
    choice.leftOut =
        leftOutText(static_cast<std::size_t>(rows) - choice.rows.size(), lanes.size() - choice.lanes.size());
    return choice;
}

}  // namespace zeqcam::tool
