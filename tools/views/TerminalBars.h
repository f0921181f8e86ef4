#pragma once

#include "analysis/Timeline.h"

#include <cstddef>
#include <optional>
#include <vector>

namespace zeqcam::tool::terminal {

// The cells from `begin` up to, but not including, `end`.
struct Cells {
    int begin = 0;
    int end = 0;

    [[nodiscard]] int size() const { return end - begin; }
};

// What becomes of a run's time on a line of cells. The last cells stay free for what is short and comes last.
class Scale {
  public:
    static constexpr int kSpare = 2;

    Scale(Timeline const& timeline, int cells);

    [[nodiscard]] int cellOf(Instant time) const;
    [[nodiscard]] int cells() const { return mCells; }

  private:
    Instant mBegin;
    double mSpan;
    int mCells;
};

struct Bar {
    Section const* section;
    Cells cells;
    bool failed;
};

// The bars of a row, by depth. An outermost section takes one cell at least, and none that another has; of
// what it holds, only that has a bar which is as long as a cell or so.
class Levels {
  public:
    // `most`: how deep.
    Levels(std::vector<Section> const& sections, Scale const& scale, std::size_t most);

    [[nodiscard]] std::vector<std::vector<Bar>> const& bars() const { return mBars; }
    // The sections that have no bar.
    [[nodiscard]] int leftOut() const { return mLeftOut; }

  private:
    // A bar may stand this many cells later than its time, to make room for short ones before it.
    static constexpr int kMostShift = Scale::kSpare;

    void layOut(std::vector<Section> const& sections, Cells room, std::size_t depth);
    void leaveOut(Section const& section, std::size_t depth);

    Scale const& mScale;
    std::size_t const mMost;
    int mLeftOut = 0;
    std::vector<std::vector<Bar>> mBars;
};

// What takes most of the time of each cell that the parts reach; none: nothing is known of it.
std::vector<std::optional<Scheduling::State>> statesOf(std::vector<ProcessorPart> const& parts,
                                                       Scale const& scale);

}  // namespace zeqcam::tool::terminal
