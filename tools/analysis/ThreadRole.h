#pragma once

#include "record/Record.h"

#include <cstdint>
#include <optional>
#include <string>

namespace zeqcam::tool {

// What a thread is, in the order in which the rows stand.
struct Role {
    enum class Is : std::uint8_t { Client, Worker, Queue, Other };
    Is is = Is::Other;
    std::int64_t order = 0;  // among those alike: the place in the record of the client, sensor, controller
    std::string name;
    std::optional<int> sensor{};  // of a worker

    bool operator==(Role const&) const = default;
};

// What a thread shows itself to be by this event. None: nothing.
std::optional<Role> roleShownBy(Record const& record, Event const& event);

// Of a thread that has shown nothing.
Role otherRole(Record const& record, Record::Thread const& thread);

}  // namespace zeqcam::tool
