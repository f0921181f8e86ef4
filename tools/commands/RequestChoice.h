#pragma once

#include "analysis/Chain.h"
#include "record/Record.h"

#include <optional>
#include <set>
#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace zeqcam::tool {

// The requests of records that a command line asks for: all that it does not leave out.
struct RequestChoice {
    std::vector<std::string> clients;   // by name
    std::vector<std::string> sensors;   // by name or id
    std::vector<std::string> requests;  // parts of "camera app: power on main wide"
    std::optional<double> fromMs;       // of the run
    std::optional<double> toMs;

    // Options of the command line; this object outlives its reading.
    void add(CLI::App& app);

    // Whether the chain's request is among them; the run began at `begin`. Notes which of the names there
    // are.
    [[nodiscard]] bool has(Record const& record, Chain const& chain, Instant begin);

    // Those that there are; and others that another process has noted.
    [[nodiscard]] std::set<std::string> const& found() const { return mFound; }
    void addFound(std::set<std::string> const& names) { mFound.insert(names.begin(), names.end()); }

    // Throws CannotOpen where a name was that of nothing in any record.
    void requireFound() const;

  private:
    bool matches(std::vector<std::string> const& names, std::string const& text, bool isPart);

    std::set<std::string> mFound;
};

}  // namespace zeqcam::tool
