#include "evidence/Clocks.h"

#include <algorithm>
#include <limits>
#include <set>
#include <utility>

namespace zeqcam::tool {
namespace {

using std::chrono::nanoseconds;

// A line's times in two files differ by their clocks' offset and by how coarse they are.
constexpr nanoseconds kCoarse = std::chrono::milliseconds(2);

constexpr std::size_t kNone = std::numeric_limits<std::size_t>::max();

// The better a clock for a record, the lower: a wall clock may be set.
int rankOf(ClockKind kind) {
    return kind == ClockKind::Wall ? 1 : 0;
}

}  // namespace

void Clocks::read(Clock const& clock, nanoseconds time, ClockKind other, nanoseconds shown) {
    Clock const to{clock.file, clock.boot, other};
    see(clock);
    see(to);
    bool const isKnown = std::any_of(mEdges.begin(), mEdges.end(),
                                     [&](Edge const& edge) { return edge.from == clock && edge.to == to; });
    if (!isKnown) mEdges.push_back({clock, to, shown - time});
}

void Clocks::seeLine(Clock const& clock, nanoseconds time, std::string const& line) {
    see(clock);
    mLines[line][clock].push_back(time);
}

// The last boots of two files are one.
bool Clocks::areOneBoot(Clock const& left, Clock const& right) const {
    return mFiles[left.file].boots - left.boot == mFiles[right.file].boots - right.boot;
}

void Clocks::addSameClocks() {
    for (auto left = mClocks.begin(); left != mClocks.end(); ++left) {
        for (auto right = std::next(left); right != mClocks.end(); ++right) {
            auto const& [a, b] = std::pair(left->first, right->first);
            bool const isTold = a.kind != ClockKind::Trace &&
                                (a.kind != ClockKind::Wall ||
                                 mFiles[a.file].isWallTimeKnown == mFiles[b.file].isWallTimeKnown);
            if (a.kind == b.kind && a.file != b.file && isTold && areOneBoot(a, b))
                mEdges.push_back({a, b, {}});
        }
    }
}

// Where most lines agree.
void Clocks::addLines() {
    std::map<std::pair<Clock, Clock>, std::vector<nanoseconds>> offsets;
    for (auto const& [line, clocks] : mLines) {
        for (auto left = clocks.begin(); left != clocks.end(); ++left) {
            for (auto right = std::next(left); right != clocks.end(); ++right) {
                auto const& [a, b] = std::pair(*left, *right);
                bool const isSame = a.first.file != b.first.file && areOneBoot(a.first, b.first);
                if (!isSame || a.second.size() != b.second.size()) continue;
                for (std::size_t i = 0; i < a.second.size(); ++i)
                    offsets[{a.first, b.first}].push_back(b.second[i] - a.second[i]);
            }
        }
    }
    for (auto& [clocks, all] : offsets) {
        std::sort(all.begin(), all.end());
        nanoseconds const middle = all[all.size() / 2];
        auto const agree = std::count_if(all.begin(), all.end(), [middle](nanoseconds each) {
            return std::chrono::abs(each - middle) <= kCoarse;
        });
        if (agree * 5 >= std::ssize(all) * 4) mEdges.push_back({clocks.first, clocks.second, middle});
    }
}

void Clocks::spread(Clock const& base, std::size_t group) {
    mClocks[base] = {group, {}};
    std::vector<Clock> open{base};
    while (!open.empty()) {
        Clock const clock = open.back();
        open.pop_back();
        for (Edge const& edge : mEdges) {
            bool const isForth = edge.from == clock;
            if (!isForth && edge.to != clock) continue;
            Clock const& other = isForth ? edge.to : edge.from;
            if (mClocks[other].group != kNone) continue;
            // A time t of `other` is t + add of the base.
            nanoseconds const add = mClocks[clock].add + (isForth ? -edge.add : edge.add);
            mClocks[other] = {group, add};
            open.push_back(other);
        }
    }
}

void Clocks::group() {
    for (auto& [clock, fit] : mClocks) fit.group = kNone;
    for (int const rank : {0, 1}) {
        for (auto const& [clock, fit] : mClocks) {
            if (fit.group != kNone || rankOf(clock.kind) != rank) continue;
            mBases.push_back(clock);
            spread(clock, mBases.size() - 1);
        }
    }
}

// Readings say the most, and come first: a clock is fitted by the first way that leads to it.
void Clocks::fit(std::vector<File> const& files) {
    mFiles = files;
    addSameClocks();
    addLines();
    group();
}

std::optional<nanoseconds> Clocks::toWallClock(std::size_t group) const {
    for (auto const& [clock, fit] : mClocks) {
        if (fit.group == group && clock.kind == ClockKind::Wall && mFiles[clock.file].isWallTimeKnown)
            return -fit.add;
    }
    return {};
}

}  // namespace zeqcam::tool
