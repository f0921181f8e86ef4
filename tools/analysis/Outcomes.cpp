#include "analysis/Outcomes.h"

#include "analysis/Attribution.h"

#include <algorithm>

namespace zeqcam::tool {
namespace {

using board::Kind;

constexpr KindSet kAnswersOfServices{Kind::Hal3APowerOn, Kind::Hal3APowerOff, Kind::PeripheralPowerOn,
                                     Kind::PeripheralPowerOff};
constexpr KindSet kAnswersOfSensors{Kind::SensorPowerOnDone, Kind::SensorPowerOffDone};

}  // namespace

bool isRefusal(Event const& event) {
    return kAnswersOfServices.contains(event.kind) && event.number.value_or(0) != 0;
}

std::vector<Outcome> outcomesOf(Record const& record) {
    std::vector<Outcome> outcomes(record.requests.size());
    auto const requests = attributionOf(record);
    for (std::uint32_t index = 0; index < record.events.size(); ++index) {
        if (!requests[index]) continue;
        Event const& event = record.events[index];
        Outcome& outcome = outcomes[*requests[index]];
        if (kAnswersOfSensors.contains(event.kind) && event.sensor && event.number.value_or(1) == 0) {
            outcome.failedSensors.push_back(*event.sensor);
            outcome.failures.push_back(index);
        }
        if (isRefusal(event)) outcome.services.push_back(index);
        if (event.kind == Kind::ExceptionReport) outcome.reports.push_back(index);
    }
    for (Outcome& outcome : outcomes) {
        std::vector<int>& failed = outcome.failedSensors;
        std::sort(failed.begin(), failed.end());
        failed.erase(std::unique(failed.begin(), failed.end()), failed.end());
    }
    return outcomes;
}

}  // namespace zeqcam::tool
