#pragma once

#include "scenario/Fields.h"
#include "scenario/Names.h"

#include <zeqcam/board/Board.h>

namespace zeqcam::tool {

// `fields` are those of the table `board`.
void readBoard(Fields const& fields, board::Settings& settings);
// `fields` are those of one table `sensor`.
void readSensor(Fields const& fields, board::Settings& settings, Names& names);

}  // namespace zeqcam::tool
