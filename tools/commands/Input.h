#pragma once

#include "record/Record.h"
#include "run/Watch.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace zeqcam::tool {

// The files, and those that the scenarios among them include: none of them may be written to.
std::vector<std::string> withIncluded(std::vector<std::string> const& files);

// A record that a command line names, by whatever tells of it.
struct Input {
    std::string name;  // "phone.toml", "process 812 of camera.log"
    Record record;
    bool isPlayed = false;  // from a scenario; else read from evidence
    bool isFirst = false;   // of those that the command line names
};

// Files that records come from: scenarios, which are played in virtual time, and logs and traces, which are
// those of one phone. Each is known by its content.
struct InputOptions {
    std::vector<std::string> files;
    std::optional<int> process;           // of the evidence, only this one
    std::optional<std::uint64_t> seed;    // of the scenarios, instead of the files'
    std::vector<std::string> settings;    // of the scenarios, in place of values of the files
    std::optional<std::uint64_t> repeat;  // runs of each scenario, with seeds one after another; none: one

    // Options of the command line; this object outlives its reading.
    void add(CLI::App& app);
};

// Whether a file is a scenario: by its name, or by what its first line that says something begins.
bool isScenario(std::string const& path);

// Gives each record that files of evidence tell of, and keeps none. Throws CannotOpen where there is none.
void readRecords(std::vector<std::string> const& paths, std::optional<int> process,
                 std::function<void(Input input)> const& take);

// The records that a command line names, in the order of the files: what scenarios played, then what the
// evidence tells.
class Inputs {
  public:
    explicit Inputs(InputOptions const& options) : mOptions(options) {}

    // `keep`: makes what is kept of a record, which is all that `take` gets. A scenario is played in a
    // process of its own, which ends with `keep`: a run that hangs, or ends its process, is nothing to the
    // next. Complains of the latter. To be called where no other thread lives. Throws CannotOpen where there
    // is no record, with faults of scenarios as `run` tells them. A signal ends it early, which it says.
    void each(std::function<std::string(Input const& input)> const& keep,
              std::function<void(std::string const& kept)> const& take);

    // By what they came to: kFailed where nothing was kept of a run, and a signal's that ended them early.
    [[nodiscard]] int status() const;
    [[nodiscard]] bool areCutShort() const { return mEnd != End::AllDone; }

  private:
    void play(std::string const& path, std::function<std::string(Input const& input)> const& keep,
              std::function<void(std::string const& kept)> const& take);

    InputOptions const& mOptions;
    bool mIsFirst = true;
    bool mHaveAllEnded = true;
    End mEnd = End::AllDone;
};

}  // namespace zeqcam::tool
