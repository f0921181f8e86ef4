// Who moved, where the order of things has changed.
#include "series/Reordering.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace zeqcam::tool;

// "3 past 0, 2 past 1".
std::string textOf(std::vector<Move> const& moves) {
    std::string text;
    for (auto const& [which, beside] : moves)
        text += (text.empty() ? "" : ", ") + std::to_string(which) + " past " + std::to_string(beside);
    return text;
}

Interval at(double begin) {
    return {begin, begin + 1};
}

// What the words say, with no care for the time that it takes.
std::vector<Move> movesByLooking(std::vector<Begins> const& all) {
    auto const isClear = [](Interval const& one, Interval const& other) { return one.high < other.low; };
    auto const havePassed = [&](std::size_t i, std::size_t j) {
        return (isClear(all[i].before, all[j].before) && isClear(all[j].after, all[i].after)) ||
               (isClear(all[j].before, all[i].before) && isClear(all[i].after, all[j].after));
    };
    std::vector<Move> moves;
    std::vector<bool> hasMoved(all.size());
    for (;;) {
        Move worst;
        std::size_t most = 0;
        for (std::size_t i = 0; i < all.size(); ++i) {
            std::vector<std::size_t> passed;
            for (std::size_t j = 0; j < all.size(); ++j) {
                if (!hasMoved[i] && !hasMoved[j] && havePassed(i, j)) passed.push_back(j);
            }
            if (passed.size() <= most) continue;
            most = passed.size();
            worst = {i, passed.back() > i ? passed.back() : passed.front()};
        }
        if (most == 0) return moves;
        hasMoved[worst.which] = true;
        moves.push_back(worst);
    }
}

TEST(Moves, AreTheFewestThatMakeTheOrder) {
    struct Case {
        std::vector<Begins> all;
        std::string moves;
    };
    for (auto const& [all, moves] : std::vector<Case>{
             {{}, ""},
             {{{at(0), at(9)}}, ""},
             {{{at(0), at(5)}, {at(5), at(0)}}, "0 past 1"},
             {{{at(0), at(5)}, {at(1), at(0)}}, ""},  // that touch each other have no order
             {{{at(0), at(0)}, {at(5), at(9)}, {at(10), at(13)}, {at(15), at(5)}}, "3 past 1"},
             {{{at(0), at(20)}, {at(5), at(5)}, {at(10), at(10)}, {at(15), at(15)}}, "0 past 3"},
             {{{at(0), at(10)}, {at(5), at(5)}, {at(10), at(0)}}, "0 past 2, 1 past 2"}})
        EXPECT_EQ(textOf(movesOf(all)), moves);
}

TEST(Moves, AreThoseThatLookingAtEachPairFinds) {
    std::mt19937 engine(7);
    auto const number = [&](unsigned most) { return static_cast<double>(engine() % most); };
    for (unsigned round = 0; round < 300; ++round) {
        std::vector<Begins> all;
        double begin = 0;
        unsigned const apart = 1 + round % 7;  // few apart: ties and overlaps
        for (unsigned i = 0; i < 1 + round % 24; ++i) {
            begin += number(apart);
            double const after = round % 3 == 0 ? number(60) : begin + number(2 * apart);
            all.push_back({{begin, begin + number(3)}, {after, after + number(3)}});
        }
        ASSERT_EQ(textOf(movesOf(all)), textOf(movesByLooking(all))) << "round " << round;
    }
}

TEST(Moves, OfManyThatFewPassedAreFoundByThemAlone) {
    constexpr std::size_t kMany = 100'000;
    std::vector<Begins> all;
    for (std::size_t i = 0; i < kMany; ++i) {
        double const begin = 2 * static_cast<double>(i);
        all.push_back({at(begin), at(begin)});
    }
    all.back().after = at(-5);
    std::swap(all[10].after, all[11].after);
    EXPECT_EQ(textOf(movesOf(all)), "99999 past 0, 10 past 11");
}

}  // namespace
