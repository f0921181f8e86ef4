#include "Printable.h"
#include "Report.h"
#include "Run.h"
#include "ScenarioReader.h"

#include <zeqcam/board/QosFile.h>

#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <string>
#include <string_view>

namespace {

using zeqcam::tool::printable;

enum ExitStatus : int { kAllHeld = 0, kFailed = 1, kWrongInput = 2 };

constexpr auto kExitCodes =
    "Exit status:\n"
    "  0  all ran and every expectation held\n"
    "  1  an expectation did not hold, or the run broke off\n"
    "  2  the file or the command line is wrong; nothing ran";

void complain(std::string_view message) {
    std::cerr << "zeqcam-power: " << printable(message) << '\n';
}

std::string told(zeqcam::tool::Fault const& fault, std::string const& file) {
    std::string text = file;
    if (fault.line > 0) text += ':' + std::to_string(fault.line);
    if (!fault.field.empty()) text += ": " + fault.field;
    return text + ": " + fault.message;
}

bool wantsColours() {
    auto const variable = [](char const* name) {
        char const* const value = std::getenv(name);
        return std::string_view(value ? value : "");
    };
    return isatty(STDOUT_FILENO) == 1 && variable("NO_COLOR").empty() && variable("TERM") != "dumb";
}

int runFile(std::string const& file) {
    auto const [scenario, faults] = zeqcam::tool::readScenarioFile(file);
    if (!faults.empty()) {
        complain(told(faults.front(), file));
        return kWrongInput;
    }
    if (std::string const reason = zeqcam::board::QosFile::provide(); !reason.empty()) {
        complain("no QoS file, as on a device without it: " + reason);
    }
    auto const outcome = zeqcam::tool::run(scenario, std::cout);
    std::cout << zeqcam::tool::report(scenario, outcome, file, wantsColours());
    if (!std::cout.flush()) {
        complain("the output cannot be written");
        return kFailed;
    }
    return zeqcam::tool::allHeld(outcome) ? kAllHeld : kFailed;
}

}  // namespace

int main(int argc, char** argv) try {
    CLI::App app("Powers the image sensors of a simulated phone on and off, as a file tells.",
                 "zeqcam-power");
    app.footer(kExitCodes);
    app.require_subcommand(1);
    std::string file;
    auto* const run =
        app.add_subcommand("run", "Run a scenario; print its log lines, requests and final states.");
    run->add_option("FILE", file, "The scenario, in TOML.")->required();
    run->footer(kExitCodes);
    try {
        app.parse(argc, argv);
    } catch (CLI::ParseError const& error) {
        if (error.get_exit_code() == 0) return app.exit(error);
        complain(std::string(error.what()) + "; see --help");
        return kWrongInput;
    }
    // Who watches through a pipe sees each line as it happens.
    std::cout << std::unitbuf;
    return runFile(file);
} catch (std::exception const& error) {
    complain(error.what());
    return kFailed;
}
