#pragma once

#include "SideBySide.h"

#include <benchmark/benchmark.h>

#include <iosfwd>
#include <map>
#include <string>
#include <vector>

namespace zeqcam::benchmarks {

// Gathers what the repetitions measured and prints a row for each pair of sides, with its target and whether
// it is missed.
class Table : public benchmark::BenchmarkReporter {
  public:
    static constexpr char const* kTail = ", 99th percentile";  // behind the names of a side and of a row

    explicit Table(Comparisons const& comparisons) : mComparisons(comparisons) {}

    bool ReportContext(Context const& context) override;
    void ReportRuns(std::vector<Run> const& runs) override;
    void print(std::ostream& out) const;

  private:
    using Costs = std::map<std::string, std::vector<double>>;  // of each side, one for each repetition

    Comparisons const& mComparisons;
    std::map<std::string, Costs> mCosts;
    std::map<std::string, std::string> mSkipped;  // by name, with the reason
};

}  // namespace zeqcam::benchmarks
