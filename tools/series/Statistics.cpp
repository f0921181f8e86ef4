#include "series/Statistics.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <random>

namespace zeqcam::tool {
namespace {

// The standard library's distributions differ from one library to another; what is drawn here does not.
class Chance {
  public:
    // From 0 to 1, neither of them.
    double uniform() {
        constexpr int kBits = 53;
        return (static_cast<double>(mEngine() >> (64 - kBits)) + 0.5) / std::exp2(kBits);
    }

    // The sum of `count` exponential times of mean 1, by Marsaglia and Tsang.
    double gamma(std::size_t count) {
        if (count == 0) return 0;
        double const d = static_cast<double>(count) - 1.0 / 3;
        double const c = 1 / std::sqrt(9 * d);
        for (;;) {
            double const x = normal();
            double const root = 1 + c * x;
            if (root <= 0) continue;
            double const v = root * root * root;
            if (std::log(uniform()) < x * x / 2 + d - d * v + d * std::log(v)) return d * v;
        }
    }

  private:
    double normal() {
        double const length = std::sqrt(-2 * std::log(uniform()));
        constexpr double kTurn = 6.283185307179586;
        return length * std::cos(kTurn * uniform());
    }

    std::mt19937_64 mEngine{20'240'521};
};

// The median of as many samples as there are, drawn with replacement. Drawing them is no need: the places of
// sorted uniform draws are sums of exponential times over the sum of all, and the median asks for one or two.
double resampledMedian(std::vector<double> const& sorted, Chance& chance) {
    std::size_t const count = sorted.size();
    std::size_t const lower = (count + 1) / 2;  // the median's place among the draws, from 1
    auto const at = [&](double share) {
        auto const index = static_cast<std::size_t>(share * static_cast<double>(count));
        return sorted[std::min(index, count - 1)];
    };
    double const before = chance.gamma(lower);
    double const between = chance.gamma(1);
    double const all = before + between + chance.gamma(count - lower);
    double const first = at(before / all);
    return count % 2 == 1 ? first : (first + at((before + between) / all)) / 2;
}

}  // namespace

double quantileOf(std::vector<double> const& sorted, double share) {
    double const place = share * static_cast<double>(sorted.size() - 1);
    auto const below = static_cast<std::size_t>(place);
    double const low = sorted[below];
    double const high = sorted[std::min(below + 1, sorted.size() - 1)];
    return low + (high - low) * (place - static_cast<double>(below));
}

double medianOf(std::vector<double> const& sorted) {
    return quantileOf(sorted, 0.5);
}

Spread spreadOf(std::vector<double> const& sorted) {
    return {.shortest = sorted.front(),
            .median = medianOf(sorted),
            .p90 = quantileOf(sorted, 0.9),
            .p99 = quantileOf(sorted, 0.99),
            .longest = sorted.back()};
}

Interval differenceOfMedians(std::vector<double> const& before, std::vector<double> const& after) {
    constexpr std::size_t kTimes = 10'000;
    Chance chance;
    std::vector<double> differences(kTimes);
    for (double& difference : differences) {
        double const median = resampledMedian(before, chance);
        difference = resampledMedian(after, chance) - median;
    }
    std::sort(differences.begin(), differences.end());
    return {quantileOf(differences, (1 - kConfidence) / 2), quantileOf(differences, (1 + kConfidence) / 2)};
}

Histogram histogramOf(std::vector<double> const& sorted, double begin, double end, std::size_t bins) {
    if (begin >= end) return {begin, 0, {sorted.size()}};
    Histogram histogram{begin, (end - begin) / static_cast<double>(bins), std::vector<std::size_t>(bins)};
    for (double const sample : sorted) {
        auto const bin = static_cast<std::size_t>((sample - begin) / histogram.width);
        ++histogram.counts[std::min(bin, bins - 1)];
    }
    return histogram;
}

}  // namespace zeqcam::tool
