#pragma once

#include "record/Record.h"

#include <optional>
#include <string>
#include <string_view>

namespace zeqcam::tool {

// As a sensor is called by itself: "tele", or "sensor 3" where it has no name.
std::string sensorTitle(Record const& record, int sensor);

// As it stands in a list of sensors: "tele", or "3".
std::string sensorWord(Record const& record, int sensor);

// As it stands in a sentence: "sensor tele", or "sensor 3"; "sensor ?" where it is unknown.
std::string sensorPhrase(Record const& record, std::optional<int> sensor);

// What the library traces of a sensor, in the words of a record: "powerOff: 3" as "powerOff: tele". Other
// labels come back as they are, and `sensor` empty.
struct SensorLabel {
    std::string text;
    std::optional<int> sensor;
    bool powersOn = false;
};
SensorLabel sensorLabel(Record const& record, std::string_view traced);

}  // namespace zeqcam::tool
