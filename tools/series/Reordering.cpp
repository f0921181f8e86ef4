#include "series/Reordering.h"

#include <algorithm>
#include <numeric>
#include <optional>

namespace zeqcam::tool {
namespace {

// Whether the first began before the second, and begins after it now.
bool hasFallenBehind(Begins const& first, Begins const& second) {
    return first.before.high < second.before.low && second.after.high < first.after.low;
}

bool havePassed(Begins const& one, Begins const& other) {
    return hasFallenBehind(one, other) || hasFallenBehind(other, one);
}

// How many of the ranks that were added lie below another: a tree of sums, each over a power of two of them.
class RankCounts {
  public:
    explicit RankCounts(std::size_t ranks) : mSums(ranks + 1) {}

    void add(std::size_t rank) {
        ++mAll;
        for (std::size_t i = rank + 1; i < mSums.size(); i += i & (~i + 1)) ++mSums[i];
    }
    [[nodiscard]] std::size_t below(std::size_t rank) const {
        std::size_t count = 0;
        for (std::size_t i = rank; i > 0; i -= i & (~i + 1)) count += mSums[i];
        return count;
    }
    [[nodiscard]] std::size_t from(std::size_t rank) const { return mAll - below(rank); }

  private:
    std::vector<std::size_t> mSums;
    std::size_t mAll = 0;
};

// The indices of the all, by what `of` says of each.
template <class Of>
std::vector<std::size_t> sortedBy(std::vector<Begins> const& all, Of const& of) {
    std::vector<std::size_t> order(all.size());
    std::iota(order.begin(), order.end(), std::size_t{0});
    std::sort(order.begin(), order.end(),
              [&](std::size_t left, std::size_t right) { return of(all[left]) < of(all[right]); });
    return order;
}

// Of each place, how many have fallen behind it.
std::vector<std::size_t> fallenBehind(std::vector<Begins> const& all) {
    auto const beforeLow = sortedBy(all, [](Begins const& each) { return each.before.low; });
    auto const beforeHigh = sortedBy(all, [](Begins const& each) { return each.before.high; });
    auto const afterLow = sortedBy(all, [](Begins const& each) { return each.after.low; });
    std::vector<std::size_t> rank(all.size());
    for (std::size_t i = 0; i < afterLow.size(); ++i) rank[afterLow[i]] = i;
    std::vector<std::size_t> counts(all.size());
    RankCounts ranks(all.size());
    auto next = beforeHigh.begin();
    for (std::size_t const place : beforeLow) {
        while (next != beforeHigh.end() && all[*next].before.high < all[place].before.low)
            ranks.add(rank[*next++]);
        auto const later =
            std::upper_bound(afterLow.begin(), afterLow.end(), all[place].after.high,
                             [&](double high, std::size_t other) { return high < all[other].after.low; });
        counts[place] = ranks.from(static_cast<std::size_t>(later - afterLow.begin()));
    }
    return counts;
}

// The same with time turned around: who fell behind has gone ahead.
std::vector<Begins> mirrored(std::vector<Begins> all) {
    auto const turn = [](Interval const& time) { return Interval{-time.high, -time.low}; };
    for (Begins& each : all) each = {turn(each.before), turn(each.after)};
    return all;
}

}  // namespace

std::vector<Move> movesOf(std::vector<Begins> const& all) {
    auto passed = fallenBehind(all);  // of each place, by those that have not moved
    auto const ahead = fallenBehind(mirrored(all));
    for (std::size_t i = 0; i < passed.size(); ++i) passed[i] += ahead[i];
    std::vector<bool> hasMoved(all.size());
    std::vector<Move> moves;
    for (;;) {
        auto const most = std::max_element(passed.begin(), passed.end());
        if (most == passed.end() || *most == 0) return moves;
        auto const which = static_cast<std::size_t>(most - passed.begin());
        hasMoved[which] = true;
        std::optional<std::size_t> beside;
        for (std::size_t i = 0; i < all.size(); ++i) {
            if (hasMoved[i] || !havePassed(all[which], all[i])) continue;
            --passed[i];
            if (!beside || i > which) beside = i;
        }
        passed[which] = 0;
        moves.push_back({which, beside.value_or(which)});
    }
}

}  // namespace zeqcam::tool
