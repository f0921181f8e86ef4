#pragma once

#include "series/Series.h"
#include "series/Statistics.h"

#include <optional>
#include <string>
#include <vector>

namespace zeqcam::tool {

// What became of one subject from some runs to others.
struct Difference {
    Subject subject;
    Series::Measured const* before = nullptr;  // null: they have none
    Series::Measured const* after = nullptr;
    std::optional<double> medianBefore;  // of the runs in which it ended
    std::optional<double> medianAfter;
    std::optional<Interval> interval;  // of the medians' difference; none: too few runs on a side

    // What of a request's time changed the most in the same direction, by how many milliseconds of its
    // median.
    struct Cause {
        std::string link;
        double ms = 0;
    };
    std::optional<Cause> cause;

    [[nodiscard]] std::optional<double> ms() const;
    // Whether the interval leaves no doubt that there is a difference.
    [[nodiscard]] bool isSure() const { return interval && (interval->low > 0 || interval->high < 0); }
};

// A request that begins on the other side of another than before, in nearly all runs.
struct Reordered {
    Subject subject;
    Subject other;
    bool isNowBefore = false;
};

struct Comparison {
    std::vector<Difference> differences;  // requests, sensors and services, in the order of the runs before
    std::vector<Subject> appeared;        // requests
    std::vector<Subject> gone;
    std::vector<Reordered> reordered;
};

// Both series outlive what comes of it.
Comparison compare(Series const& before, Series const& after);

// Whether it has become slower by more than this share of its median, as surely as the interval is.
bool isSlowerBy(Difference const& difference, double share);

}  // namespace zeqcam::tool
