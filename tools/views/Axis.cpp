#include "views/Axis.h"

#include "text/TimeText.h"

#include <fmt/format.h>

#include <algorithm>

namespace zeqcam::tool {
namespace {

using std::chrono::nanoseconds;

// The smallest of 1, 2, 5, 10, 20, ... nanoseconds that fits no more than `most` times.
nanoseconds tickStep(nanoseconds span, int most) {
    nanoseconds::rep const least = span.count() / std::max(most, 1);
    for (nanoseconds::rep power = 1;; power *= 10) {
        for (nanoseconds::rep const factor : {1, 2, 5}) {
            if (factor * power > least) return nanoseconds(factor * power);
        }
    }
}

}  // namespace

std::vector<Tick> ticksOf(Timeline const& timeline, int most) {
    nanoseconds const span = timeline.end - timeline.begin;
    nanoseconds const step = tickStep(span, most);
    TimeUnit const unit = unitOf(timeline.end - timeline.zero);
    std::vector<Tick> ticks;
    nanoseconds const begin = timeline.begin - timeline.zero;
    for (nanoseconds at = (begin + step - nanoseconds(1)) / step * step; at <= begin + span; at += step) {
        ticks.push_back({timeline.zero + at, fmt::format("{:.9g} {}", countOf(at, unit), unit.name)});
    }
    return ticks;
}

}  // namespace zeqcam::tool
