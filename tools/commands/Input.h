#pragma once

#include "record/Record.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace zeqcam::tool {

// A record that a command line names, by whatever tells of it.
struct Input {
    std::string name;  // "phone.toml", "process 812 of camera.log"
    Record record;
    bool isPlayed = false;  // from a scenario; else read from evidence
};

// Files that records come from: scenarios, which are played in virtual time, and logs and traces, which are
// those of one phone. Each is known by its content.
struct InputOptions {
    std::vector<std::string> files;
    std::optional<int> process;         // of the evidence, only this one
    std::optional<std::uint64_t> seed;  // of the scenarios, instead of the files'
    std::vector<std::string> settings;  // of the scenarios, in place of values of the files
    std::uint64_t repeat = 1;           // runs of each scenario, with seeds one after another

    // Options of the command line; this object outlives its reading.
    void add(CLI::App& app);
};

// Whether a file is a scenario: by its name, or by what its first line that says something begins.
bool isScenario(std::string const& path);

// Gives each record to `take`, which may keep it, as it is there. In the order of the files: what scenarios
// played, then what the evidence tells. Throws CannotOpen where there is none, with faults of scenarios as
// `run` tells them.
class Inputs {
  public:
    explicit Inputs(InputOptions const& options) : mOptions(options) {}

    void each(std::function<void(Input input)> const& take);

    // Ends a command: threads of a run that nobody could go on with are left as they are.
    [[nodiscard]] int end(int status) const;

  private:
    void play(std::string const& path, std::function<void(Input input)> const& take);
    void read(std::vector<std::string> const& paths, std::function<void(Input input)> const& take) const;

    InputOptions const& mOptions;
    bool mLeavesThreads = false;
};

}  // namespace zeqcam::tool
