#pragma once

#include <cstdint>
#include <string>

namespace zeqcam::tests {

// A scenario file with up to four sensors, two controllers and three clients: the same for the same seed.
std::string randomScenario(std::uint32_t seed);

}  // namespace zeqcam::tests
