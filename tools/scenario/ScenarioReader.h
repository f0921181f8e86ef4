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
    std::string file = {};  // empty: the one that was read
};

// The fault in one line: "phone.toml:3: sensor.id: must be …". `file` is the one that was read.
std::string faultText(Fault const& fault, std::string_view file);

// The scenario means something only when there are no faults. They stand in the order of files and lines.
struct Reading {
    Scenario scenario;
    std::vector<Fault> faults;
    std::vector<std::string> included = {};  // the files that it includes
};

// A text is no file that another one could be found from: it includes none.
Reading readScenario(std::string_view text);
// `settings`: values that stand in place of the files', such as "sensor.tele.power_on_ms=60"; Settings.h says
// how.
Reading readScenarioFile(std::string const& path, std::vector<std::string> const& settings = {});

}  // namespace zeqcam::tool
