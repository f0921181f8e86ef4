#pragma once

#include "record/Record.h"

#include <zeqcam/board/Board.h>

#include <chrono>
#include <vector>

namespace zeqcam::tool {

// Adds what a board's journal tells to a record: its events, and the threads, clients and requests that they
// name. `journal` is a journal's entries, in their order. Requests that stand in the record already are their
// client's in order: the journal's n-th of a client begins the n-th of them, sleeps apart, and adds nothing
// to it; one beyond them is a new request. Sets `begin` and `shows`; `end` is left to the caller.
void addJournal(Record& record, std::vector<board::Entry> const& journal);

// Adds what a board noticed of its callers, up to the record's end. The threads are those of its events.
void addCallerFaults(Record& record, std::vector<board::CallerFault> const& faults);

// The record that a journal alone makes: a unit test's, say.
Record recordOf(std::vector<board::Entry> const& journal, Instant end);

// A time of this machine's monotonic clock, which times runs.
Instant instantOf(std::chrono::steady_clock::time_point time);

}  // namespace zeqcam::tool
