#pragma once

#include "analysis/Blame.h"
#include "views/Page.h"

namespace zeqcam::tool {

// Where the time of requests went, as a page shows it.
PagePart blamePart(Blame const& blame);

}  // namespace zeqcam::tool
