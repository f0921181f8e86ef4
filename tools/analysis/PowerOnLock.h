#pragma once

#include "record/Record.h"

#include <cstdint>
#include <optional>

namespace zeqcam::tool {

// Who holds the process-wide power-on lock.
struct LockHold {
    std::uint32_t request;  // the power-on that took it: index into Record::requests
    Instant since;
};

// At the end of the record, as far as its requests tell: a power-on takes the lock where it is free, and a
// power-off after which its controller has no sensor on, or the end of the controller, frees it. None:
// nobody, or it cannot be told.
std::optional<LockHold> lockHeldAtEnd(Record const& record);

}  // namespace zeqcam::tool
