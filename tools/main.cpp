#include "commands/Command.h"
#include "files/OutputFile.h"
#include "files/StandardStreams.h"

#include <CLI/CLI.hpp>
#include <exception>
#include <functional>
#include <iostream>
#include <string>
#include <utility>
#include <vector>

namespace {

// What cannot be done is told in one way, whichever command was to do it.
int statusOf(std::function<int()> const& run) try {
    return run();
} catch (zeqcam::tool::CannotOpen const& error) {
    zeqcam::tool::complain(error.what());
    return zeqcam::tool::kWrongInput;
}

}  // namespace

int main(int argc, char** argv) try {
    using namespace zeqcam::tool;
    secureStandardStreams();
    CLI::App app("Powers the image sensors of a simulated phone on and off, as a file tells.",
                 "zeqcam-power");
    app.footer(std::string(kExitCodes));
    app.set_version_flag("--version", "zeqcam-power " ZEQCAM_VERSION, "Print the version.");
    app.require_subcommand(1);
    std::vector<std::pair<CLI::App*, std::function<int()>>> added;
    for (Command const& command : commands()) {
        CLI::App* const own = app.add_subcommand(std::string(command.name), std::string(command.help));
        added.emplace_back(own, command.add(*own));
    }
    try {
        app.parse(argc, argv);
    } catch (CLI::ParseError const& error) {
        if (error.get_exit_code() == 0) {
            app.exit(error);
            if (std::cout.flush()) return kAllHeld;
            complain("the output cannot be written");
            return kFailed;
        }
        complain(std::string(error.what()) + "; see --help");
        return kWrongInput;
    }
    for (auto const& [command, run] : added) {
        if (command->parsed()) return statusOf(run);
    }
    return kWrongInput;
} catch (std::exception const& error) {
    zeqcam::tool::complain(error.what());
    return zeqcam::tool::kFailed;
}
