#pragma once

#include "views/View.h"

namespace zeqcam::tool {

// The timeline as one self-contained picture, legible on light and on dark pages.
void writeSvg(Record const& record, Presentation const& presentation, std::ostream& out);

}  // namespace zeqcam::tool
