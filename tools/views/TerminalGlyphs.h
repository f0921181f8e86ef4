#pragma once

#include "analysis/Timeline.h"
#include "views/TerminalLine.h"

#include <string_view>

// What a picture in a terminal is made of.
namespace zeqcam::tool::terminal {

struct Alphabet {
    std::string_view left, fill, right, open, tick, axis, axisTick, caption, ellipsis;
    std::string_view off, powering, on, conflict;
    std::string_view running, runnable, asleep;
};

constexpr Alphabet kAscii{"[", "-", "]", ">", "|", "-", "+", ",", "~", ".", "/", "=", "x", "#", ":", "_"};
constexpr Alphabet kUtf8{"├", "─", "┤", "▶", "│", "─", "┬", "┌", "…", "·", "╱", "═", "×", "▀", "░", "┄"};
constexpr std::string_view kFailed = "!";

// How text stands out where there are colours; plain else.
constexpr std::string_view kName = "\033[1m";
constexpr std::string_view kDim = "\033[2m";
constexpr std::string_view kFailure = "\033[1;31m";
constexpr std::string_view kWaits = "\033[33m";

inline std::string_view colourOf(SectionKind kind) {
    switch (kind) {
        case SectionKind::Request:
            return "\033[36m";
        case SectionKind::Wait:
            return "\033[2;36m";
        case SectionKind::Trace:
            return "\033[34m";
        case SectionKind::SensorCall:
            return "\033[32m";
    }
    return kPlain;
}

}  // namespace zeqcam::tool::terminal
