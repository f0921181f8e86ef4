#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace zeqcam::tool {

// Options that several commands have, worded once. What they set outlives the reading of the command line.

// --set: puts other values into scenarios.
void addSettings(CLI::App& app, std::vector<std::string>& settings);

// --seed, of which commands say themselves what it seeds.
void addSeed(CLI::App& app, std::optional<std::uint64_t>& seed, char const* help);

// --width: the columns of what is printed.
void addWidth(CLI::App& app, std::optional<int>& width);

}  // namespace zeqcam::tool
