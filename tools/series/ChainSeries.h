#pragma once

#include "series/RunCauses.h"

#include <chrono>
#include <cstddef>
#include <map>
#include <string>
#include <vector>

namespace zeqcam::tool {

// The chains of many runs: of each request, by what it is, what each link of its chain took. Of the chains
// the slowest alone is kept.
class ChainSeries {
  public:
    struct Request {
        Subject subject;
        std::vector<double> times;  // in milliseconds, of the runs that have it
        Blame links;                // a record for each of these runs
        RequestCauses slowest;
        RunName slowestRun;

        // That the link took in the slowest.
        [[nodiscard]] std::chrono::nanoseconds inSlowest(std::string const& where) const;
    };

    void add(RunCauses run);

    [[nodiscard]] std::size_t runs() const { return mRuns; }
    // The longest medians first.
    [[nodiscard]] std::vector<Request const*> slowestFirst() const;

  private:
    std::map<Subject, Request> mRequests;
    std::size_t mRuns = 0;
};

}  // namespace zeqcam::tool
