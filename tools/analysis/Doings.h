#pragma once

#include "record/Record.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zeqcam::tool {

// What a thread's time goes to.
enum class Doing : std::uint8_t {
    Own,         // the library itself
    Hints,       // performance hints: priority, processors, QoS scenario, critical mark
    Handles,     // of sensors: made and given back
    Budget,      // the power budget
    SensorOn,    // a sensor's power-on
    SensorOff,   // its power-off
    Supply,      // the supply that it shares with others
    Hal3A,       // its 3A control
    Peripheral,  // its peripheral controller
    Listener,    // the notification of its listeners
    Report,      // an exception report
    Unknown,     // the record shows nothing that would tell
};

struct Done {
    Doing what = Doing::Own;
    std::optional<int> sensor;  // of a sensor and its services, where it is known
};

// "main's power-on", "performance hints".
std::string doneText(Record const& record, Done const& done);
// The kind in a word or two, for programs: "sensor power-on".
std::string_view kindOf(Doing doing);

// One for each event: what its thread did from its event before this one on; and what each thread did after
// its last event.
struct Doings {
    std::vector<Done> before;  // by event
    std::vector<Done> after;   // by thread
};
Doings doingsOf(Record const& record);

}  // namespace zeqcam::tool
