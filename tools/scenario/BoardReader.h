#pragma once

#include "scenario/Fields.h"
#include "scenario/Names.h"
#include "scenario/Scenario.h"

#include <zeqcam/board/Board.h>

#include <functional>
#include <optional>

namespace zeqcam::tool {

// What a table says of a part of the board, to be said of the part as it is by then.
template <class Part>
using Edit = std::function<void(Part&)>;

// `fields` are those of the table `board`, or of a change of it.
Edit<board::Settings> readBoard(Fields const& fields);
// `fields` are those of one table `supply`.
void readSupply(Fields const& fields, board::Settings& settings, Names& names);
// `fields` are those of one table `sensor`; every supply has been read. Returns its id.
int readSensor(Fields const& fields, board::Settings& settings, Names& names);
// The device that stands for it, or none. `fields` as above.
std::optional<DeviceOfSensor> readDevice(Fields const& fields, int sensor);
// `fields` are those of a sensor's change.
Edit<board::Sensor> readSensorChange(Fields const& fields, Names const& names);

}  // namespace zeqcam::tool
