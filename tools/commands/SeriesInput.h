#pragma once

#include "record/Record.h"
#include "rules/Strictness.h"
#include "run/Watch.h"
#include "series/Series.h"
#include "views/ComparisonReport.h"

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

// The runs of files, and what else is known of them.
struct InputRuns {
    Series series;
    ShownSide shown;         // its record where a log or a trace is a single run
    End end = End::AllDone;  // else a signal has ended it, and these are the runs until then
};

// The files that paths stand for: a folder's are those in it. Throws CannotOpen where it holds none.
std::vector<std::string> filesOf(std::vector<std::string> const& paths);

// The runs of files, each by its content: a scenario's, which is played in virtual time; what --json has
// printed of one or many; each power cycle of a log or a trace, or the whole where it has none. Throws
// CannotOpen.
InputRuns runsOf(std::vector<std::string> const& files, SeriesInput const& input);

// Plays a scenario's first run once more, for the record of it. None, where a run left threads that nobody
// can go on with: nothing can be played after it, and the process is to end by `leave`.
class RecordPlayer {
  public:
    std::optional<Record> play(std::string const& path, SeriesInput const& input);

    [[nodiscard]] bool leavesThreads() const { return mLeavesThreads; }

  private:
    bool mLeavesThreads = false;
};

}  // namespace zeqcam::tool
