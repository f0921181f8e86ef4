#include "series/SeriesBlame.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace zeqcam::tool {
namespace {

// Goes through the samples once, as long as runs are asked for in their order.
struct LinkCursor {
    Series::Measured const* link;
    std::size_t next = 0;

    Series::Sample const* at(std::uint32_t run) {
        std::vector<Series::Sample> const& samples = link->samples;
        while (next < samples.size() && samples[next].run < run) ++next;
        return next < samples.size() && samples[next].run == run ? &samples[next] : nullptr;
    }
};

std::chrono::nanoseconds wholeNanoseconds(double ms) {
    constexpr double kOfAMillisecond = 1e6;
    return std::chrono::nanoseconds(std::llround(ms * kOfAMillisecond));
}

}  // namespace

Blame blameOf(Series const& series) {
    std::map<std::string, std::vector<LinkCursor>> requests;  // their links
    for (Series::Measured const& each : series.measured()) {
        if (each.subject.of == Subject::Of::Link) requests[each.subject.who].push_back({&each});
    }
    Blame blame;
    for (std::uint32_t run = 0; run < series.runs().size(); ++run) {
        std::vector<std::vector<Spent>> spent;
        for (auto& [request, links] : requests) {
            std::vector<Spent> times;
            for (LinkCursor& link : links) {
                Series::Sample const* const sample = link.at(run);
                if (sample == nullptr) continue;
                times.push_back({link.link->subject.what, {}, wholeNanoseconds(sample->ms)});
            }
            if (!times.empty()) spent.push_back(std::move(times));
        }
        blame.add(spent);
    }
    return blame;
}

}  // namespace zeqcam::tool
