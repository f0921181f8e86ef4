#pragma once

#include <cstddef>
#include <vector>

// Samples come sorted, rising.
namespace zeqcam::tool {

// The quantile of a share of the samples, from 0 to 1, between two samples in proportion: Hyndman and Fan's
// type 7, as numpy, R and spreadsheets do by default. At least one sample.
double quantileOf(std::vector<double> const& sorted, double share);
double medianOf(std::vector<double> const& sorted);

struct Spread {
    double shortest = 0;
    double median = 0;
    double p90 = 0;
    double p99 = 0;
    double longest = 0;
};

// At least one sample.
Spread spreadOf(std::vector<double> const& sorted);

struct Interval {
    double low = 0;
    double high = 0;
};

constexpr double kConfidence = 0.95;

// Of fewer samples even the range from the shortest to the longest holds the median less often than that.
constexpr std::size_t kFewestForConfidence = 6;

// Where the difference of the medians, `after` less `before`, lies with kConfidence: the percentile
// bootstrap, each side drawn anew 10,000 times with a seed of its own, so that the same samples give the same
// interval. At least one sample each; that they are fewer than kFewestForConfidence is the caller's to tell.
Interval differenceOfMedians(std::vector<double> const& before, std::vector<double> const& after);

// How many samples lie in each of bins of one width, side by side. The last holds its end too.
struct Histogram {
    double begin = 0;
    double width = 0;  // 0: all samples are the same, and there is one bin
    std::vector<std::size_t> counts;
};

// From `begin` to `end`, which hold the samples, in `bins` bins.
Histogram histogramOf(std::vector<double> const& sorted, double begin, double end, std::size_t bins);

}  // namespace zeqcam::tool
