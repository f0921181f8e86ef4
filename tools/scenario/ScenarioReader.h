#pragma once

#include "scenario/Scenario.h"

#include <string>
#include <string_view>
#include <vector>

namespace zeqcam::tool {

struct Fault {
    int line = 0;       // 0: the file as a whole
    std::string field;  // its path, such as "sensor.power_on_ms"; empty where no field is at fault
    std::string message;
};

// The fault in one line: "phone.toml:3: sensor.id: must be …".
std::string faultText(Fault const& fault, std::string_view file);

// The scenario means something only when there are no faults. They stand in the order of their lines.
struct Reading {
    Scenario scenario;
    std::vector<Fault> faults;
};

Reading readScenario(std::string_view text);
Reading readScenarioFile(std::string const& path);

}  // namespace zeqcam::tool
