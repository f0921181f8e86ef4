#include "rules/Boundary.h"

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

namespace zeqcam::tool {
namespace {

using board::Kind;

enum class Drivers { One, Several };

std::vector<Breach> faultsOf(Record const& record, Drivers wanted) {
    std::vector<Breach> breaches;
    for (std::uint32_t index = 0; index < record.events.size(); ++index) {
        Event const& event = record.events[index];
        if (event.kind != Kind::CallerFault || !event.sensor) continue;
        auto const drivers =
            std::count_if(record.controllers.begin(), record.controllers.end(), [&](auto const& each) {
                return std::find(each.sensors.begin(), each.sensors.end(), *event.sensor) !=
                       each.sensors.end();
            });
        // Where the controllers are unknown, so is whose fault it is.
        if (drivers == 0 || (drivers > 1) != (wanted == Drivers::Several)) continue;
        breaches.push_back(
            {"sensor " + record.nameOfSensor(*event.sensor) + ": " + std::string(record.textOf(event.text)),
             {index}});
    }
    return breaches;
}

}  // namespace

std::vector<Breach> faultsOfTheCaller(Record const& record) {
    return faultsOf(record, Drivers::One);
}

std::vector<Breach> faultsBetweenControllers(Record const& record) {
    return faultsOf(record, Drivers::Several);
}

}  // namespace zeqcam::tool
