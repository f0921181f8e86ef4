#pragma once

#include "commands/Outputs.h"
#include "record/Record.h"
#include "rules/Strictness.h"
#include "views/View.h"

#include <map>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace zeqcam::tool {

// How a command line asks a record to be judged and shown, whatever it was made from.
struct ViewOptions {
    Outputs outputs;
    bool json = false;
    Strictness strictness;
    std::optional<int> width;
    std::optional<double> fromMs;
    std::optional<double> toMs;
    std::vector<std::string> clients;
    std::vector<std::string> sensors;
    bool full = false;
    Selection selection;          // as these say of what there is
    std::vector<Source> sources;  // for a page; nobody else asks for them

    // Options of the command line; this object outlives its reading.
    void addStrictness(CLI::App& app);
    void addSelection(CLI::App& app);

    // Sets `selection`. Throws CannotOpen, which a wrong command line is told by, where a name is none of
    // these; `in` is what would hold it.
    void select(std::vector<std::string> const& allClients, std::map<int, std::string> const& allSensors,
                std::string const& in);

    // Where people read: what a program reads stands alone on the standard output.
    [[nodiscard]] std::ostream& textOutput() const;

    // For what people read.
    [[nodiscard]] Presentation presentation(std::string const& title) const;
};

// Tells what a record came to in every form that was asked for. False when not all of it could be told.
// `name` says what the record is of.
bool tell(Record const& record, ViewOptions& options, std::string const& name);

}  // namespace zeqcam::tool
