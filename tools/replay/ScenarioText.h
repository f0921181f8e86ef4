#pragma once

#include "replay/Measured.h"

#include <chrono>
#include <set>
#include <string>
#include <string_view>
#include <vector>

// Values as a scenario file has them.
namespace zeqcam::tool {

constexpr std::chrono::microseconds kLongestTime = std::chrono::minutes(1);

// Milliseconds, down to a microsecond: "36.5". What is longer than a file may say is the longest.
std::string msText(std::chrono::microseconds time);

// One time, or a range where they differ: "[44, 52]".
std::string timesText(MeasuredTimes const& times);

// In quotes, printable.
std::string tomlString(std::string_view text);

// "[0, 2]".
std::string idsText(std::vector<int> const& ids);
std::string idsText(std::set<int> const& ids);

}  // namespace zeqcam::tool
