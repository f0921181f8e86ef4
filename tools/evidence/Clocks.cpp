#include "evidence/Clocks.h"

#include <algorithm>
#include <functional>
#include <iterator>
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

void Clocks::seeLine(Clock const& clock, nanoseconds time, std::string_view line) {
    see(clock);
    mLines[clock].push_back({std::hash<std::string_view>()(line), time});
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

void Clocks::addLines() {
    for (auto& [clock, lines] : mLines) {
        std::stable_sort(lines.begin(), lines.end(),
                         [](Line const& left, Line const& right) { return left.hash < right.hash; });
    }
    for (auto left = mLines.begin(); left != mLines.end(); ++left) {
        for (auto right = std::next(left); right != mLines.end(); ++right) {
            bool const isSame =
                left->first.file != right->first.file && areOneBoot(left->first, right->first);
            if (isSame) addLinesOf(left->first, right->first);
        }
    }
}

// Where most lines agree. One that does not stand in both as often says nothing.
void Clocks::addLinesOf(Clock const& left, Clock const& right) {
    auto const endOf = [](auto begin, auto end) {
        return std::find_if(begin, end, [&](Line const& line) { return line.hash != begin->hash; });
    };
    auto const& ours = mLines.at(left);
    auto const& theirs = mLines.at(right);
    std::vector<nanoseconds> offsets;
    auto our = ours.begin();
    auto their = theirs.begin();
    while (our != ours.end() && their != theirs.end()) {
        if (our->hash != their->hash) {
            our->hash < their->hash ? ++our : ++their;
            continue;
        }
        auto const ourEnd = endOf(our, ours.end());
        auto const theirEnd = endOf(their, theirs.end());
        bool const isAlike = ourEnd - our == theirEnd - their;
        for (; isAlike && our != ourEnd; ++our, ++their) offsets.push_back(their->time - our->time);
        our = ourEnd;
        their = theirEnd;
    }
    if (offsets.empty()) return;
    std::sort(offsets.begin(), offsets.end());
    nanoseconds const middle = offsets[offsets.size() / 2];
    auto const agree = std::count_if(offsets.begin(), offsets.end(), [middle](nanoseconds each) {
        return std::chrono::abs(each - middle) <= kCoarse;
    });
    if (agree * 5 >= std::ssize(offsets) * 4) mEdges.push_back({left, right, middle});
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
