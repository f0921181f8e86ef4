#pragma once

#include "series/RunFigures.h"

#include <string>
#include <string_view>

namespace zeqcam::tool {

// Figures on their way from one process of a program to another.
std::string bytesOf(RunFigures const& figures);
RunFigures figuresFrom(std::string_view bytes);

}  // namespace zeqcam::tool
