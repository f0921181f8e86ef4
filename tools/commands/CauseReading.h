#pragma once

#include "analysis/Chain.h"
#include "commands/CausePage.h"
#include "commands/Input.h"
#include "commands/RequestChoice.h"
#include "series/RunCauses.h"

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace zeqcam::tool {

// What a command that tells of causes is asked for.
struct CauseOptions {
    InputOptions input;
    RequestChoice choice;
    CausePage page;
    bool cycles = false;  // of evidence: each is a run
    bool json = false;
    std::optional<int> width;

    // Options of the command line; this object outlives its reading.
    void add(CLI::App& app);

    // Whether runs are told of together.
    [[nodiscard]] bool areMany() const { return input.repeat || cycles; }
};

// What is kept of a record.
struct RecordCauses {
    std::string name;             // "phone.toml"
    std::vector<RunCauses> runs;  // one, or one for each of its cycles
    std::string told;             // by the command, of the record alone
};

// Of the record's requests those that are chosen, by their begin: not sleeps, which are their clients' own.
std::vector<Chain const*> chosenOf(Record const& record, std::vector<Chain> const& chains,
                                   RequestChoice& choice);

// Gives what is kept of each record that the options name to `take`, which may draw on the page. `tell`: what
// the command tells of one alone, called where the record is. The exit status,
// by what the reading came to. Throws CannotOpen.
int eachRecordCauses(CauseOptions& options, std::function<std::string(Input const& input)> const& tell,
                     std::function<void(RecordCauses kept)> const& take);

}  // namespace zeqcam::tool
