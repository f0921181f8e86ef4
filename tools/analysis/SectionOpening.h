#pragma once

#include "analysis/Timeline.h"

#include <array>
#include <optional>
#include <string>
#include <string_view>

namespace zeqcam::tool {

// A section as the event that begins it tells of it.
struct Opening {
    SectionKind kind;
    std::string label;
    std::array<std::string, 2> briefs{};
    std::optional<int> sensor{};
};

// None: the event begins none.
std::optional<Opening> openedBy(Record const& record, Event const& event);

// The kind of event that began what this one ends. None: it ends nothing.
std::optional<board::Kind> beginOf(board::Kind end);

// Whether the section that ends with this event failed.
bool tellsFailure(Record const& record, Event const& end);

// Why a sensor did not obey; empty where nobody told.
std::string_view reasonOf(Record const& record, Event const& end);

}  // namespace zeqcam::tool
