#include "views/JUnit.h"
#include "views/Page.h"
#include "views/SeriesJUnit.h"
#include "views/SeriesPage.h"
#include "views/SeriesSvg.h"
#include "views/SvgTimeline.h"
#include "views/TraceFile.h"
#include "views/View.h"

#include <array>

namespace zeqcam::tool {
namespace {

constexpr std::array kFileViews{
    View{"trace", "Write the timeline in the Trace Event Format, which trace viewers open.", writeTrace},
    View{"svg", "Write the timeline as a picture.", writeSvg, writeSeriesSvg},
    View{"junit", "Write expectations and rules as test cases, in the JUnit form that CI servers read.",
         writeJUnit, writeSeriesJUnit},
    View{"html", "Write all of it as one page for a browser, which needs no network.", writeHtml,
         writeSeriesHtml},
};

}  // namespace

std::span<View const> fileViews() {
    return kFileViews;
}

}  // namespace zeqcam::tool
