#pragma once

#include "scenario/Toml.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

// The paths that lead to a scenario's values: by what keys there are, and by what its tables name.
namespace zeqcam::tool {

// The table of scenarioKeys() that a key of this one leads to.
std::string keysBelow(std::string_view table, std::string_view key);
// Whether scenarioKeys() has a table of this name.
bool isTablePath(std::string_view table);
// Whether it is a table whose keys are not listed: those of a status are sensors.
bool isFreeTable(std::string_view table);

// Null: none has that name, or stands at that place from 1. `list`: what they are listed as, "sensor".
toml::table* chooseElement(std::vector<toml::table*> const& elements, std::string_view list,
                           std::string const& name);
// Whether both, from different files, tell of one sensor.
bool isSameSensor(std::string_view list, toml::table const& one, toml::table const& other);

// How many characters are to be added, left out or replaced to make one text of the other.
std::size_t editDistance(std::string_view one, std::string_view other);

// The paths that there are which come nearest to one: "sensor.tele.power_on_ms, sensor.tele.power_off_ms".
std::string nearestPaths(std::string_view path, std::vector<toml::table*> const& files);

}  // namespace zeqcam::tool
