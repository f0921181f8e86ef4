#pragma once

#include "record/Record.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace zeqcam::tool {

enum class SensorState : std::uint8_t { Off, PoweringOn, On, PoweringOff, Failed };

// As people read it: "powering on".
std::string_view nameOf(SensorState state);

// A part of a sensor's time in which nothing changes.
struct SensorPart {
    Instant begin;
    Instant end;
    SensorState state = SensorState::Off;
    // The clients that were told that it is on, and have neither powered it off nor let go of their
    // controller: indices into Record::clients, in order.
    std::vector<std::uint32_t> clients;
};

// Clients count on a sensor that is not on, whoever powered it off, or that never came up.
bool isConflict(SensorPart const& part);

struct SensorLane {
    int sensor = 0;
    std::vector<SensorPart> parts;  // one after another, from the record's begin to its end
};

// What became of each sensor that was powered, in the record's order of sensors.
std::vector<SensorLane> sensorLanesOf(Record const& record);

// "camera app, face unlock"; empty where there are none.
std::string clientsText(Record const& record, SensorPart const& part);

}  // namespace zeqcam::tool
