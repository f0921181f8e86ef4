#pragma once

#include "scenario/ScenarioReader.h"
#include "scenario/Toml.h"

#include <string>
#include <string_view>
#include <vector>

namespace zeqcam::tool {

// The file that faults of a value name which a command line has set: "--set sensor.tele.power_on_ms=60".
std::string settingLabel(std::string_view setting);

// Puts into a scenario's tables, before they are read, what settings such as "sensor.tele.power_on_ms=60" or
// "client.camera app.steps.3.sleep_ms=5" say. Sensors, supplies, controllers and clients are chosen by name,
// sensors by id too, steps by their place from 1; a name that holds dots stands in double quotes. The tables
// are those of the files, each before what it includes. What leads nowhere is a fault that tells the paths
// that come nearest.
void applySettings(std::vector<std::string> const& settings, std::vector<toml::table*> const& files,
                   std::vector<Fault>& faults);

}  // namespace zeqcam::tool
