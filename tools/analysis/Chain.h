#pragma once

#include "analysis/Attempts.h"
#include "analysis/Doings.h"
#include "record/Record.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

namespace zeqcam::tool {

// A part of a request's time: what the request waited for meanwhile.
struct Link {
    enum class Is : std::uint8_t {
        Doing,        // `done` says what was done, on `thread`
        PowerOnLock,  // the process-wide lock was held by the power-on `other`
        Controller,   // its controller was kept by the request `other`
        Start,        // a worker had been asked for and had not begun
        Queue,        // a task had been posted and had not begun; `other`: the queue was at that one's task
        Return,       // the work was done, and the request's thread had not gone on
        Sleep,        // the client slept
    };

    Is is = Is::Doing;
    Done done;                            // of a start and a queue: the sensor alone
    bool isRetry = false;                 // of a sensor's power-on: the one before it had failed
    OptionalNumber<std::uint32_t> other;  // index into Record::requests; none: nobody, or unknown
    std::uint32_t thread = 0;             // that was waited for: index into Record::threads
    Instant begin;
    Instant end;
    // The part of it in which that thread waited for a processor. None: the record does not tell.
    std::optional<std::chrono::nanoseconds> withoutProcessor;

    [[nodiscard]] std::chrono::nanoseconds time() const { return end - begin; }
};

// The kind in a word or two, for programs: "sensor power-on", "controller".
std::string_view kindOf(Link const& link);

// What a request would have taken without the slowest of its links, all else equal.
struct Without {
    std::chrono::nanoseconds time{};
    std::optional<int> sensor;  // whose work would be the last then; none: the same as now
};

// What a request waited for, from its begin to its end: its links follow one another and add up to its time.
struct Chain {
    std::uint32_t request = 0;  // index into Record::requests
    Instant begin;
    Instant end;                           // of the record, where the request had not ended
    bool isOpen = false;                   // it had not, or its end was not seen
    std::vector<Link> links;               // each takes some time
    std::optional<std::size_t> slowest{};  // of `links`
    Without without{};                     // of the slowest
    std::vector<Retry> retries{};          // of its sensors that failed

    [[nodiscard]] std::chrono::nanoseconds time() const { return end - begin; }
};

// One for each of the record's requests. What the record does not show is `Doing::Unknown`, never guessed.
std::vector<Chain> chainsOf(Record const& record);

}  // namespace zeqcam::tool
