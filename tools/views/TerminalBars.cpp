#include "views/TerminalBars.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <map>

namespace zeqcam::tool::terminal {
namespace {

int countOf(Section const& section) {
    int count = 1;
    for (Section const& inner : section.inner) count += countOf(inner);
    return count;
}

}  // namespace

Scale::Scale(Timeline const& timeline, int cells)
    : mBegin(timeline.begin),
      mSpan(std::max(std::chrono::duration<double>(timeline.end - timeline.begin).count(), 1e-9)),
      mCells(cells) {}

int Scale::cellOf(Instant time) const {
    double const part = std::clamp(std::chrono::duration<double>(time - mBegin).count() / mSpan, 0.0, 1.0);
    return static_cast<int>(std::lround(part * (mCells > 2 * kSpare ? mCells - kSpare : mCells - 1)));
}

Levels::Levels(std::vector<Section> const& sections, Scale const& scale, std::size_t most)
    : mScale(scale), mMost(most) {
    layOut(sections, {0, scale.cells()}, 0);
}

void Levels::layOut(std::vector<Section> const& sections, Cells room, std::size_t depth) {
    for (Section const& section : sections) {
        Cells const exact{mScale.cellOf(section.begin), mScale.cellOf(section.end)};
        int const begin = std::max(exact.begin, room.begin);
        bool const fits = begin < room.end && begin <= exact.begin + kMostShift;
        if (!fits || depth == mMost || (depth > 0 && exact.size() == 0)) {
            leaveOut(section, depth);
            continue;
        }
        if (mBars.size() == depth) mBars.emplace_back();
        Cells const cells{begin, std::clamp(exact.end, begin + 1, room.end)};
        mBars[depth].push_back({&section, cells, section.failed});
        layOut(section.inner, cells, depth + 1);
        room.begin = cells.end;
    }
}

// Its failure shows on the bar that it is in, or else on the one before it.
void Levels::leaveOut(Section const& section, std::size_t depth) {
    mLeftOut += countOf(section);
    std::vector<Bar>& bars = mBars[depth > 0 ? depth - 1 : 0];
    if (holdsFailure(section)) bars.back().failed = true;
}

std::vector<std::optional<Scheduling::State>> statesOf(std::vector<ProcessorPart> const& parts,
                                                       Scale const& scale) {
    using std::chrono::nanoseconds;
    std::vector<std::map<Scheduling::State, nanoseconds>> times(static_cast<std::size_t>(scale.cells()));
    for (ProcessorPart const& part : parts) {
        int const first = scale.cellOf(part.begin);
        int const count = std::max(scale.cellOf(part.end) - first, 1);
        for (int cell = first; cell < first + count; ++cell)
            times[static_cast<std::size_t>(cell)][part.state] += (part.end - part.begin) / count;
    }
    std::vector<std::optional<Scheduling::State>> states;
    for (auto const& cell : times) {
        auto const most = std::max_element(cell.begin(), cell.end(), [](auto const& one, auto const& other) {
            return one.second < other.second;
        });
        states.push_back(most == cell.end() ? std::nullopt : std::optional(most->first));
    }
    return states;
}

}  // namespace zeqcam::tool::terminal
