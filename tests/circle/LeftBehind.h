#pragma once

#include "record/Record.h"
#include "scenario/Scenario.h"

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

// What a run leaves behind, in the forms in which a phone has it.
namespace zeqcam::tests {

// Log: as logcat has it, with year and zone. Trace: as the kernel writes it. Perfetto: both in its binary
// form, with the scheduler. OwnTrace: what `run --trace` writes.
enum class Source : std::uint8_t { Log, Trace, Perfetto, OwnTrace };

struct Played {
    tool::Record record;
    std::string log;  // as the board writes it
};

// In virtual time.
Played play(tool::Scenario& scenario);

std::string textOf(Played const& run, Source source);

// To be added to the record's times for those of the log.
std::chrono::nanoseconds toWallClock(Played const& run);

// The thread that started the worker whose section begins with that event.
std::uint32_t starterOf(tool::Record const& record,
                        std::vector<tool::OptionalNumber<std::uint32_t>> const& requests,
                        std::size_t section);

// `lost`: that packet of the kernel's events is missing, and the next ones tell that something is.
std::string perfettoOf(Played const& run, std::optional<int> lost = {});

}  // namespace zeqcam::tests
