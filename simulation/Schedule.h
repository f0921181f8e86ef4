#pragma once

#include "Memory.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

namespace zeqcam::simulation {

// A turn that is given against the rule (see Choices.h): when a thread is at a point of its own, counted from
// 1, another goes on. "0.35>1" in a text.
struct GivenTurn {
    int thread = 0;
    std::uint64_t step = 0;
    int next = 0;

    bool operator==(GivenTurn const&) const = default;
};

using GivenTurns = OwnVector<GivenTurn>;
using Seed = std::uint64_t;
using Schedule = std::variant<Seed, GivenTurns>;

// "seed 7", "0.35>1 1.12>0", or "plain" where no turn is given.
std::string textOf(Schedule const& schedule);
// Nothing when the text is no schedule.
std::optional<Schedule> scheduleOf(std::string_view text);

}  // namespace zeqcam::simulation
