#pragma once

#include "record/Record.h"

#include <zeqcam/board/Board.h>

#include <chrono>
#include <cstdint>
#include <map>
#include <optional>
#include <vector>

namespace zeqcam::tool {

// Adds what a board's journal tells to a record: its events, and the threads, clients and requests that they
// name. Requests that stand in the record at the end are their client's in order: the journal's n-th of a
// client begins the n-th of them, sleeps apart, and adds nothing to it; one beyond them is a new request.
class JournalReader {
  public:
    // The record outlives this object. Between the calls its texts may get others, its events and threads
    // not.
    explicit JournalReader(Record& record) : mRecord(record) {}

    // A part of a journal, or all of it: entries in their order, those after what was read before.
    void read(std::vector<board::Entry> const& journal);

    // Once, after the last part. Leaves out what is later than `last`, and sets `begin` and `shows`; `end` is
    // left to the caller.
    void finish(Instant last = Instant::max());

  private:
    // A request that an entry began: the event's, until `finish` knows which one of the record that is.
    struct Begun {
        TextId client;
        TextId name;
        std::uint32_t thread;
        std::vector<int> sensors;
        Instant began;
        std::optional<Instant> ended;
        bool result;
    };

    std::uint32_t threadOf(int id);
    void read(board::Entry const& entry);
    void add(board::Entry const& entry, std::uint32_t thread, OptionalNumber<std::uint32_t> request);
    std::vector<std::uint32_t> requestsOfBegun(Instant last);

    Record& mRecord;
    std::map<int, std::uint32_t> mThreads;
    std::vector<OptionalNumber<std::uint32_t>> mRequests;  // that each thread is in: index into mBegun
    std::vector<Begun> mBegun;
};

// All of it at once.
void addJournal(Record& record, std::vector<board::Entry> const& journal);

// Adds what a board noticed of its callers, up to the record's end. The threads are those of its events.
void addCallerFaults(Record& record, std::vector<board::CallerFault> const& faults);

// The record that a journal alone makes: a unit test's, say.
Record recordOf(std::vector<board::Entry> const& journal, Instant end);

// A time of this machine's monotonic clock, which times runs.
Instant instantOf(std::chrono::steady_clock::time_point time);

}  // namespace zeqcam::tool
