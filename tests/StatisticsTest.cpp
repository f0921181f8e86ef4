// Figures of samples, against distributions whose figures are known. scripts/check-statistics holds those
// that the tool prints against another implementation.
#include "series/Statistics.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace zeqcam::tool;
using testing::ElementsAre;

TEST(Statistics, QuantilesLieBetweenSamplesInProportion) {
    struct Case {
        std::vector<double> sorted;
        double share;
        double quantile;
    };
    for (auto const& [sorted, share, quantile] : std::vector<Case>{{{7}, 0.99, 7},
                                                                   {{1, 2}, 0.5, 1.5},
                                                                   {{1, 2, 3, 4}, 0.9, 3.7},
                                                                   {{1, 2, 3, 4}, 0, 1},
                                                                   {{1, 2, 3, 4}, 1, 4},
                                                                   {{1, 2, 3, 10, 30}, 0.5, 3},
                                                                   {{1, 2, 3, 10, 30}, 0.99, 29.2}})
        EXPECT_NEAR(quantileOf(sorted, share), quantile, 1e-12) << share << " of " << sorted.size();
}

// How samples of one distribution are drawn, and the median that it has.
struct Distribution {
    std::string name;
    std::function<double(std::mt19937_64&)> draw;
    double median;
};

std::vector<Distribution> const& distributions() {
    static std::vector<Distribution> const all{
        {"normal", std::normal_distribution<double>(50, 4), 50},
        {"exponential", std::exponential_distribution<double>(0.1), 10 * std::log(2)},
        {"two humps, the first with two thirds",
         [](std::mt19937_64& engine) {
             double const at = std::uniform_real_distribution<double>(0, 3)(engine);
             return at < 2 ? 40 + at : 80 + at;
         },
         41.5}};
    return all;
}

std::vector<double> drawn(Distribution const& distribution, std::size_t count, std::mt19937_64& engine) {
    auto draw = distribution.draw;
    std::vector<double> samples(count);
    for (double& sample : samples) sample = draw(engine);
    std::sort(samples.begin(), samples.end());
    return samples;
}

TEST(Statistics, TheIntervalHoldsTheTrueDifferenceAsOftenAsItSays) {
    constexpr int kTrials = 100;
    for (std::size_t i = 0; i < distributions().size(); ++i) {
        Distribution const& before = distributions()[i];
        Distribution const& after = distributions()[(i + 1) % distributions().size()];
        std::mt19937_64 engine(11);
        int held = 0;
        for (int trial = 0; trial < kTrials; ++trial) {
            auto const first = drawn(before, 30, engine);
            auto const [low, high] = differenceOfMedians(first, drawn(after, 41, engine));
            double const difference = after.median - before.median;
            if (low <= difference && difference <= high) ++held;
        }
        EXPECT_GE(held, 90) << before.name << ", " << after.name;
        EXPECT_LT(held, 100) << before.name << ", " << after.name << ": wider than it says";
    }
}

// The median of n normal samples has the standard deviation sigma * sqrt(pi / 2n).
TEST(Statistics, TheIntervalIsAsWideAsTheoryHasIt) {
    std::mt19937_64 engine(5);
    Distribution const normal{"normal", std::normal_distribution<double>(100, 10), 100};
    constexpr double kSamples = 4000;
    double width = 0;
    constexpr int kTrials = 20;
    for (int trial = 0; trial < kTrials; ++trial) {
        auto const before = drawn(normal, static_cast<std::size_t>(kSamples), engine);
        auto const [low, high] =
            differenceOfMedians(before, drawn(normal, static_cast<std::size_t>(kSamples), engine));
        width += (high - low) / kTrials;
    }
    double const theory = 2 * 1.96 * std::sqrt(2.0) * 10 * std::sqrt(std::acos(-1.0) / 2 / kSamples);
    EXPECT_NEAR(width / theory, 1, 0.06);
}

TEST(Statistics, TheIntervalOfTheSameSamplesIsTheSame) {
    std::vector<double> const same(40, 48.5);
    auto const [low, high] = differenceOfMedians(same, std::vector<double>(7, 50));
    EXPECT_EQ(low, 1.5);
    EXPECT_EQ(high, 1.5);
    std::mt19937_64 engine(3);
    auto const samples = drawn(distributions().front(), 50, engine);
    auto const first = differenceOfMedians(samples, samples);
    auto const second = differenceOfMedians(samples, samples);
    EXPECT_EQ(std::pair(first.low, first.high), std::pair(second.low, second.high));
    EXPECT_LT(first.low, 0);
    EXPECT_GT(first.high, 0);
}

TEST(Statistics, FewSamplesCannotHoldTheMedianOftenEnough) {
    auto const holds = [](std::size_t samples) { return 1 - std::exp2(1 - static_cast<double>(samples)); };
    EXPECT_LT(holds(kFewestForConfidence - 1), kConfidence);
    EXPECT_GE(holds(kFewestForConfidence), kConfidence);
}

TEST(Statistics, AHistogramCountsEachSampleOnce) {
    EXPECT_THAT(histogramOf({0, 1, 2.4, 2.5, 9.9, 10}, 0, 10, 4).counts, ElementsAre(3, 1, 0, 2));
    EXPECT_THAT(histogramOf({4, 4, 4}, 4, 4, 4).counts, ElementsAre(3));
}

}  // namespace
