#pragma once

#include "record/Record.h"

#include <cstdint>
#include <optional>
#include <string_view>

namespace zeqcam::tool {

enum class Level : std::uint8_t { Error, Warning, Info, Debug, Profile };

// The word for it: "error".
std::string_view nameOf(Level level);

// Of an event that a mark stands for, a log line or a mark of a power-on profile. None: none does.
std::optional<Level> levelOf(Event const& event);

// What such an event says, without empty lines around it.
std::string_view markText(Record const& record, Event const& event);

}  // namespace zeqcam::tool
