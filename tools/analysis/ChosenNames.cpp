#include "analysis/ChosenNames.h"

#include <algorithm>
#include <vector>

namespace zeqcam::tool {

ChosenNames::ChosenNames(Record const& record, Selection const& selection)
    : mAll(selection.clients.empty() && selection.sensors.empty()),
      mAreSensorsNamed(!selection.sensors.empty()),
      mSensors(selection.sensors.begin(), selection.sensors.end()) {
    for (std::uint32_t index = 0; index < record.clients.size(); ++index) {
        auto const& names = selection.clients;
        bool const named = std::find(names.begin(), names.end(), record.nameOfClient(index)) != names.end();
        if (named) mClients.insert(index);
    }
    for (Request const& request : record.requests) {
        auto const sensors = request.sensors.value_or(std::vector<int>());
        if (selection.sensors.empty() && mClients.contains(request.client))
            mSensors.insert(sensors.begin(), sensors.end());
        bool const asks = std::any_of(sensors.begin(), sensors.end(),
                                      [this](int sensor) { return mSensors.contains(sensor); });
        if (selection.clients.empty() && asks) mClients.insert(request.client);
    }
}

bool ChosenNames::hasRequest(Request const& request) const {
    if (!hasClient(request.client)) return false;
    auto const sensors = request.sensors.value_or(std::vector<int>());
    return !mAreSensorsNamed ||
           std::any_of(sensors.begin(), sensors.end(), [this](int sensor) { return hasSensor(sensor); });
}

}  // namespace zeqcam::tool
