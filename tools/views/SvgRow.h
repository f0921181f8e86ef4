#pragma once

#include "views/SvgSheet.h"

#include <cstddef>

namespace zeqcam::tool::svg {

// The height that a row of the sheet's timeline takes.
double heightOf(Sheet& sheet, Row const& row);

// Adds the sections of the row at `index`, its log marks above them, with its top at `y`.
void addRow(Sheet& sheet, std::size_t index, double y);

}  // namespace zeqcam::tool::svg
