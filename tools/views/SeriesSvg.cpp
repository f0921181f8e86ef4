#include "views/SeriesSvg.h"

#include "series/Statistics.h"
#include "views/SvgDistributions.h"

#include <fmt/format.h>

#include <string>

namespace zeqcam::tool {
namespace {

std::string noteOf(Series::Measured const& measured, std::vector<double> const& sorted) {
    Spread const spread = spreadOf(sorted);
    std::string const failed =
        measured.failed.empty() ? "" : fmt::format(", failed {} times", measured.failed.size());
    if (spread.shortest == spread.longest) return fmt::format("always {:.1f} ms{}", spread.median, failed);
    return fmt::format("median {:.1f}, 90 % {:.1f}, 99 % {:.1f}, longest {:.1f} ms{}", spread.median,
                       spread.p90, spread.p99, spread.longest, failed);
}

}  // namespace

void writeSeriesSvg(Series const& series, Presentation const& presentation, std::ostream& out) {
    DistributionPicture picture{
        .title = presentation.title,
        .note = fmt::format("{} {}, {} clock", series.runs().size(),
                            series.runs().size() == 1 ? "run" : "runs", nameOf(series.clock)),
        .above = {},
        .below = {},
        .rows = {},
        .full = presentation.full};
    for (Subject::Of const of : {Subject::Of::Request, Subject::Of::Sensor}) {
        for (Series::Measured const* each : measuredOf(series, of)) {
            std::vector<double> sorted = sortedTimes(*each);
            if (sorted.empty()) continue;
            std::string note = noteOf(*each, sorted);
            picture.rows.push_back({textOf(each->subject), std::move(note), std::move(sorted), {}});
        }
    }
    writeDistributions(picture, out);
}

}  // namespace zeqcam::tool
