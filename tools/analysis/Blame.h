#pragma once

#include "analysis/Chain.h"
#include "record/Record.h"

#include <chrono>
#include <cstddef>
#include <map>
#include <string>
#include <vector>

namespace zeqcam::tool {

// A part of a request's time, by what it went to: one link of its chain, or several that are the same.
struct Spent {
    std::string where;  // "main's power-on"
    std::string kind;   // "sensor power-on"
    std::chrono::nanoseconds time{};
};

// All of the chain's time, by when each first took some.
std::vector<Spent> spentOf(Record const& record, Chain const& chain);

// Where the time of requests went, over a record or a set of them: to sensors, services, queues and waits,
// as the links of the requests' chains tell. Only what a request waited for counts.
class Blame {
  public:
    struct Row {
        std::string where;  // "main's power-on"
        std::string kind;   // "sensor power-on"
        std::chrono::nanoseconds time{};
        std::chrono::nanoseconds longest{};         // in one request
        std::size_t requests = 0;                   // that it took time of
        std::chrono::nanoseconds median{};          // of its time in each record
        std::chrono::nanoseconds medianWhereAny{};  // in those in which it took any
    };

    // The chains are some of the record's.
    void add(Record const& record, std::vector<Chain const*> const& chains);
    // The requests of one record.
    void add(std::vector<std::vector<Spent>> const& requests);

    // What took the most time first.
    [[nodiscard]] std::vector<Row> rows() const;
    // Of all requests.
    [[nodiscard]] std::chrono::nanoseconds time() const { return mTime; }
    [[nodiscard]] std::size_t requests() const { return mRequests; }
    [[nodiscard]] std::size_t records() const { return mRecords; }

  private:
    struct Sum {
        Row row;
        std::vector<std::chrono::nanoseconds> times;  // of the records in which it took any
    };

    std::map<std::string, Sum> mSums;  // by where
    std::chrono::nanoseconds mTime{};
    std::size_t mRequests = 0;
    std::size_t mRecords = 0;
};

}  // namespace zeqcam::tool
