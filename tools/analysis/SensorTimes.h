#pragma once

#include "record/Record.h"

#include <chrono>
#include <vector>

namespace zeqcam::tool {

// What the sensors themselves took of a request. A sensor that the library did not call counts for nothing; a
// call that has not ended counts until the end of the record.
struct SensorTimes {
    int calls = 0;
    std::chrono::microseconds slowest{0};
    std::chrono::microseconds oneAfterAnother{0};
};

// One for each of the record's requests.
std::vector<SensorTimes> sensorTimes(Record const& record);

}  // namespace zeqcam::tool
