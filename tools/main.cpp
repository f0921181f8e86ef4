#include "commands/Commands.h"

#include <CLI/CLI.hpp>
#include <cstdint>
#include <exception>
#include <iostream>
#include <string>

namespace {

using namespace zeqcam::tool;

constexpr auto kExitCodes =
    "Exit status:\n"
    "  0    all ran and every expectation held; a file that was checked is right\n"
    "  1    an expectation did not hold, the run broke off, or what it came to cannot be written\n"
    "  2    the file or the command line is wrong, or what it asks for cannot be opened; nothing ran\n"
    "  3    the run had not ended at its --timeout\n"
    "  130  it was interrupted with Ctrl-C (SIGINT), 143 terminated (SIGTERM)";

constexpr auto kRunFooter =
    "A run that is cut off, by --timeout or a signal, is told like one that has ended, and what each of its\n"
    "threads was in, since when, goes to standard error.\n";

// The unified logger's levels, which details are logged up to.
constexpr std::uint32_t kErrors = 1;
constexpr std::uint32_t kWarnings = 2;
constexpr std::uint32_t kAll = 5;

constexpr double kMostSeconds = 1e6;
constexpr std::uint64_t kMostSeed = 0xffffffff;

// Unlike a comparison with both ends, not a number is wrong here.
CLI::Validator secondsCheck() {
    return {[](std::string& text) {
                double seconds = 0;
                bool const isNumber = CLI::detail::lexical_cast(text, seconds);
                return isNumber && seconds > 0 && seconds <= kMostSeconds
                           ? std::string()
                           : "must be more than 0 and at most 1000000 seconds, not " + text;
            },
            ""};
}

void addRun(CLI::App& app, RunOptions& options) {
    auto* const run = app.add_subcommand(
        "run", "Run a scenario; print its log lines, timeline, requests and final states.");
    run->add_option("FILE", options.file, "The scenario, in TOML.")->required();
    run->add_option("--trace", options.trace,
                    "Write the timeline in the Trace Event Format, which trace viewers open.")
        ->type_name("FILE");
    run->add_option("--svg", options.svg, "Write the timeline as a picture.")->type_name("FILE");
    run->add_flag("--ftrace", options.kernelTrace,
                  "Write trace sections to the kernel's tracer too, as the device's tracer does.");
    run->add_flag("--json", options.json,
                  "Print the requests and final states as JSON, and nothing else; log lines go to standard "
                  "error.");
    run->add_option("--seed", options.seed,
                    "The seed of the faults that happen by chance, instead of the file's.")
        ->type_name("N")
        ->check(CLI::Range(std::uint64_t{0}, kMostSeed).description(""));
    run->add_option("--timeout", options.timeoutSeconds, "Cut the run off when it has not ended by then.")
        ->type_name("SECONDS")
        ->check(secondsCheck());
    auto* const verbose = run->add_flag(
        "-v,--verbose", [&options](std::int64_t) { options.detailsLevel = kAll; },
        "Log debug lines too, whatever the file says.");
    run->add_flag(
           "-q,--quiet",
           [&options](std::int64_t times) { options.detailsLevel = times > 1 ? kErrors : kWarnings; },
           "Log warnings and errors only; -qq: errors only.")
        ->excludes(verbose);
    run->footer(std::string(kRunFooter) + '\n' + kExitCodes);
}

void addCheck(CLI::App& app, std::string& file) {
    auto* const check =
        app.add_subcommand("check", "Read a scenario and tell all that is wrong with it; run nothing.");
    check->add_option("FILE", file, "The scenario, in TOML.")->required();
    check->footer(kExitCodes);
}

}  // namespace

int main(int argc, char** argv) try {
    CLI::App app("Powers the image sensors of a simulated phone on and off, as a file tells.",
                 "zeqcam-power");
    app.footer(kExitCodes);
    app.set_version_flag("--version", "zeqcam-power " ZEQCAM_VERSION, "Print the version.");
    app.require_subcommand(1);
    RunOptions options;
    std::string fileToCheck;
    addRun(app, options);
    addCheck(app, fileToCheck);
    try {
        app.parse(argc, argv);
    } catch (CLI::ParseError const& error) {
        if (error.get_exit_code() == 0) return app.exit(error);
        complain(std::string(error.what()) + "; see --help");
        return kWrongInput;
    }
    return app.got_subcommand("check") ? checkScenario(fileToCheck) : runScenario(options);
} catch (std::exception const& error) {
    complain(error.what());
    return kFailed;
}
