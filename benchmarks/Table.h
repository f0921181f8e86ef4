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
    explicit Table(Comparisons const& comparisons) : mComparisons(comparisons) {}

    bool ReportContext(Context const& context) override;
    void ReportRuns(std::vector<Run> const& runs) override;
    void print(std::ostream& out) const;

  private:
    using Times = std::map<std::string, std::vector<double>>;  // of each side, one for each repetition

    void printRow(std::ostream& out, std::string const& name, std::vector<double> const& library,
                  Side const& against, std::vector<double> const& other) const;

    Comparisons const& mComparisons;
    std::map<std::string, Times> mTimes;
};

}  // namespace zeqcam::benchmarks
