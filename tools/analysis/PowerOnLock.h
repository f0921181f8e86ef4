#pragma once

#include "record/Record.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace zeqcam::tool {

// A time in which the process-wide power-on lock was held.
struct LockHold {
    std::uint32_t request;  // the power-on that took it: index into Record::requests
    Instant since;
    std::optional<Instant> until{};           // none: it was held at the end of the record
    OptionalNumber<std::uint32_t> freedBy{};  // a power-off or the end of a controller: index into requests
};

// As far as the record's requests tell, in order: a power-on takes the lock where it is free, and a power-off
// after which its controller has no sensor on, or the end of the controller, frees it.
std::vector<LockHold> lockHoldsOf(Record const& record);

// Who holds it at the end of the record. None: nobody, or it cannot be told.
std::optional<LockHold> lockHeldAtEnd(Record const& record);

}  // namespace zeqcam::tool
