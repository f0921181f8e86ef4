#pragma once

#include "analysis/Blame.h"
#include "series/RunFigures.h"

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace zeqcam::tool {

// A request, and what its time went to.
struct RequestCauses {
    Subject subject;
    std::chrono::nanoseconds time{};
    std::vector<Spent> spent;
    std::string line;  // its chain, for people
};

// Which run it was.
struct RunName {
    std::string of;  // "phone.toml", "process 812 of camera.log"
    std::optional<std::uint64_t> seed;
    std::optional<std::size_t> cycle;  // of a log, from 1

    // "seed 7", "cycle 3"; what it is of, where it has neither.
    [[nodiscard]] std::string text() const;
};

// What is kept of a run to tell what its requests waited for.
struct RunCauses {
    RunName name;
    std::vector<RequestCauses> requests;
};

// What the requests' times went to.
std::vector<std::vector<Spent>> spentOf(RunCauses const& run);

}  // namespace zeqcam::tool
