#pragma once

#include "analysis/PowerOnLock.h"
#include "record/Record.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace zeqcam::tool {

// What a request that had not ended was doing at the end of the record, and whom it waited for.
struct Standing {
    enum class In : std::uint8_t {
        Other,           // the request itself
        SensorCall,      // `sensor`'s power-on or power-off
        LockWait,        // waits for the power-on lock, which `lock` tells of
        ControllerWait,  // waits for its controller, which `busyWith` keeps
        Sleep,
    };

    std::uint32_t request = 0;  // index into Record::requests
    In in = In::Other;
    Instant since;
    std::int32_t sensor = 0;
    bool isPowerOn = false;
    std::optional<LockHold> lock;
    OptionalNumber<std::uint32_t> busyWith;  // index into Record::requests
};

// One for each request that had not ended, in their order.
std::vector<Standing> standingsOf(Record const& record);

}  // namespace zeqcam::tool
