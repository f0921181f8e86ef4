#pragma once

#include "record/Record.h"

#include <cstdint>
#include <string_view>
#include <vector>

namespace zeqcam::tool {

struct Row;

// As people read it: "waiting for a processor".
std::string_view nameOf(Scheduling::State state);

// A part of a thread's time in which it did one thing for the processor: it ran, waited for one or slept.
struct ProcessorPart {
    Instant begin;
    Instant end;
    std::uint32_t thread = 0;  // index into Record::threads
    Scheduling::State state = Scheduling::State::Asleep;
};

// Gives each part to the row in which its thread has begun something last, or else to the thread's first: an
// id may have been given to another thread, in another row. What lasts at the end of the record ends with it.
void addProcessorTimes(Record const& record, std::vector<Row>& rows);

}  // namespace zeqcam::tool
