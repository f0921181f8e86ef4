#pragma once

#include "rules/Strictness.h"
#include "series/Series.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace zeqcam::tool {

// How the runs of files are taken.
struct SeriesInput {
    std::size_t repeat = 1;  // of each scenario
    std::size_t jobs = 0;    // 0: as many as there are processors
    std::optional<std::uint64_t> seed;
    Strictness strictness;
};

// The runs of files, each by its content: a scenario's, which is played in virtual time; what --json has
// printed of one or many; each power cycle of a log or a trace, or the whole where it has none. A folder
// stands for the files in it. Throws CannotOpen.
Series seriesOf(std::vector<std::string> const& paths, SeriesInput const& input);

}  // namespace zeqcam::tool
