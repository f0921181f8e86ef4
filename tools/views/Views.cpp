#include "views/Report.h"
#include "views/ResultFile.h"
#include "views/SvgTimeline.h"
#include "views/TerminalTimeline.h"
#include "views/TraceFile.h"
#include "views/View.h"

#include <array>

namespace zeqcam::tool {
namespace {

constexpr std::array kFileViews{
    View{"trace", "Write the timeline in the Trace Event Format, which trace viewers open.", writeTrace},
    View{"svg", "Write the timeline as a picture.", writeSvg},
};

}  // namespace

std::span<View const> fileViews() {
    return kFileViews;
}

}  // namespace zeqcam::tool
