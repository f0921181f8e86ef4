#pragma once

#include "record/Record.h"

#include <cstdint>
#include <vector>

namespace zeqcam::tool {

// What the board answered to a request, whatever the interface did.
struct Outcome {
    std::vector<int> failedSensors;       // that did not come up, or did not go off; each once, in order
    std::vector<std::uint32_t> failures;  // indices of the events in which a sensor answered so
    std::vector<std::uint32_t> services;  // indices of the events in which a service answered other than 0
    std::vector<std::uint32_t> reports;   // indices of the exception reports

    [[nodiscard]] bool isClean() const {
        return failedSensors.empty() && services.empty() && reports.empty();
    }
};

// One for each of the record's requests.
std::vector<Outcome> outcomesOf(Record const& record);

// Whether the event is a service's answer other than success.
bool isRefusal(Event const& event);

}  // namespace zeqcam::tool
