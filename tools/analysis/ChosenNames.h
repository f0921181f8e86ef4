#pragma once

#include "analysis/Selection.h"
#include "record/Record.h"

#include <cstdint>
#include <set>

namespace zeqcam::tool {

// The clients and sensors that a selection comes to in a record, whenever.
class ChosenNames {
  public:
    ChosenNames(Record const& record, Selection const& selection);

    [[nodiscard]] bool hasClient(std::uint32_t index) const { return mAll || mClients.contains(index); }
    [[nodiscard]] bool hasSensor(int sensor) const { return mAll || mSensors.contains(sensor); }
    // Of a request: its client is chosen, and one of its sensors where sensors are.
    [[nodiscard]] bool hasRequest(Request const& request) const;

  private:
    bool mAll;
    bool mAreSensorsNamed;
    std::set<int> mSensors;
    std::set<std::uint32_t> mClients;  // indices into Record::clients
};

}  // namespace zeqcam::tool
