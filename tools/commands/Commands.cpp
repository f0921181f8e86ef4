#include "commands/BlameCommand.h"
#include "commands/ChainCommand.h"
#include "commands/CheckCommand.h"
#include "commands/Command.h"
#include "commands/CompareCommand.h"
#include "commands/DevicesCommand.h"
#include "commands/ExploreCommand.h"
#include "commands/ReadCommand.h"
#include "commands/RulesCommand.h"
#include "commands/RunCommand.h"
#include "commands/SchemaCommand.h"
#include "commands/SweepCommand.h"
#include "text/Printable.h"

#include <array>
#include <cstdlib>
#include <iostream>

namespace zeqcam::tool {
namespace {

constexpr std::array kCommands{
    Command{"run", "Run a scenario; print its log lines, timeline, requests and final states.", addRun},
    Command{"explore", "Run a scenario in every order in which its threads can meet.", addExplore},
    Command{"check", "Read a scenario and tell all that is wrong with it; run nothing.", addCheck},
    Command{"read", "Read logs and traces of a phone; tell what they say, and judge it by the rules.",
            addRead},
    Command{"devices", "List the devices of this machine that could stand for a sensor.", addDevices},
    Command{"blame", "Tell where the time of requests went, what took the most of it first.", addBlame},
    Command{"chain", "Tell of each request what it waited for, link by link.", addChain},
    Command{"compare", "Compare what requests took before and after: how much, how sure, by what.",
            addCompare},
    Command{"sweep", "Run a scenario with one value after another in a place; tell what the requests took.",
            addSweep},
    Command{"rules", "List the rules that a run is held against.", addRules},
    Command{"schema", "Print the JSON Schema of scenario files, for editors.", addSchema},
};

}  // namespace

std::span<Command const> commands() {
    return kCommands;
}

void complain(std::string const& message) {
    std::cerr << "zeqcam-power: " + printable(message) + '\n';
}

void leave(int status) {
    std::cout.flush();
    std::_Exit(status);
}

}  // namespace zeqcam::tool
