#pragma once

#include "record/Record.h"
#include "series/RunFigures.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace zeqcam::tool {

// Many runs of the same: for each subject its samples, and which runs failed. A run's record is not kept, so
// a series takes 16 bytes for each figure and 8 for each run.
class Series {
  public:
    // What the runs are told apart by.
    enum class RunsBy : std::uint8_t {
        Seed,
        Cycle,  // of a log, by when it began, from 1
    };

    struct Sample {
        double ms;
        float beganMs;      // since the begin of the run
        std::uint32_t run;  // index into runs()
    };

    struct Measured {
        Subject subject;
        OptionalNumber<std::int32_t> line;
        std::size_t seen = 0;               // in as many runs
        std::vector<Sample> samples;        // by their runs
        std::vector<std::uint32_t> failed;  // indices into runs(), rising
    };

    struct FailedRun {
        std::uint32_t run;  // index into runs()
        bool isCutOff;
        std::string why;
    };

    void add(RunFigures figures);
    // The other's runs follow those that are there.
    void add(Series const& other);

    [[nodiscard]] std::vector<std::uint64_t> const& runs() const { return mRuns; }
    [[nodiscard]] std::vector<FailedRun> const& failedRuns() const { return mFailedRuns; }
    // By kind of subject, and then in the order in which runs have shown them first.
    [[nodiscard]] std::vector<Measured> const& measured() const { return mMeasured; }
    // Null: no run has shown it.
    [[nodiscard]] Measured const* find(Subject const& subject) const;

    std::string file;  // that was played or read
    RunsBy runsBy = RunsBy::Seed;
    ClockKind clock = ClockKind::Virtual;
    std::size_t asked = 0;   // runs, where they were to be more; 0: these are all
    std::string repeatedBy;  // the command that plays one of the runs again, up to its seed; empty: none

  private:
    Measured& at(Subject const& subject);

    std::vector<std::uint64_t> mRuns;
    std::vector<FailedRun> mFailedRuns;
    std::vector<Measured> mMeasured;
    std::map<Subject, std::size_t> mPlaces;
};

// Of one kind of subject, in the order of their median begins.
std::vector<Series::Measured const*> measuredOf(Series const& series, Subject::Of of);

// Null: it has no sample. Of several, the first.
Series::Sample const* longestOf(Series::Measured const& measured);

// The samples' times, rising.
std::vector<double> sortedTimes(Series::Measured const& measured);

}  // namespace zeqcam::tool
