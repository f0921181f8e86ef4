#include "commands/CompareCommand.h"

#include "commands/CommonOptions.h"
#include "commands/SeriesInput.h"
#include "commands/Terminal.h"
#include "files/OutputFile.h"
#include "text/Printable.h"
#include "views/ComparisonReport.h"

#include <fmt/format.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

namespace zeqcam::tool {
namespace {

constexpr auto kCompareFooter =
    "A FILE is a scenario, which is played in virtual time, what --json has printed of one run or of many, "
    "or\n"
    "a log or trace, whose power cycles are its runs; a folder stands for its files. Requests are matched "
    "by\n"
    "their clients, their sensors and their order among the same, not by when they are.\n"
    "A difference is sure where its interval leaves out 0: the percentile bootstrap of the difference of "
    "the\n"
    "medians, 95 %. Fewer than 6 runs on a side say nothing on chance.\n\n"
    "Exit status:\n"
    "  0    compared\n"
    "  1    a request is slower than --fail-above lets it be, or what it came to cannot be written\n"
    "  2    a file or the command line is wrong, or there are too few runs for --fail-above\n";

struct CompareOptions {
    std::vector<std::string> before;
    std::vector<std::string> after;
    SeriesInput input;
    std::string failAbove;
    std::optional<int> width;
    std::string svg;
    bool json = false;
    bool full = false;
};

// "5%" or "5": a share of 0.05. None: it is no share.
std::optional<double> shareOf(std::string text) {
    if (text.ends_with('%')) text.pop_back();
    double percent = 0;
    bool const isNumber = !text.empty() && CLI::detail::lexical_cast(text, percent);
    constexpr double kMost = 1e6;
    return isNumber && percent >= 0 && percent <= kMost ? std::optional(percent / 100) : std::nullopt;
}

void addOptions(CLI::App& app, CompareOptions& options) {
    constexpr std::size_t kMostRuns = 10'000'000;
    app.add_option("FILE", options.before, "Before and after; with --with, all of before.")->required();
    app.add_option("--with", options.after, "All of after, where a side is of several files.")
        ->type_name("FILE")
        ->expected(1, -1);
    app.add_option("--repeat", options.input.repeat,
                   "Play each scenario as many times, with one seed after another.")
        ->type_name("N")
        ->check(CLI::Range(std::size_t{1}, kMostRuns).description(""));
    addSeed(app, options.input.seed, "The seed to begin with, instead of the scenarios'.");
    app.add_option("--fail-above", options.failAbove,
                   "Status 1 where a request has surely become slower by more than this share: 5%.")
        ->type_name("PERCENT")
        ->check(CLI::Validator(
            [](std::string& text) { return shareOf(text) ? "" : "is no percentage: " + text; }, ""));
    app.add_option("--svg", options.svg, "Draw both distributions of each request on one scale.")
        ->type_name("FILE");
    app.add_flag("--json", options.json, "Print the comparison as JSON, and nothing else.");
    addWidth(app, options.width);
    app.add_flag("--full", options.full, "Draw all, however tall the picture becomes.");
    app.footer(kCompareFooter);
}

std::string nameOf(std::vector<std::string> const& paths) {
    return paths.size() == 1 ? paths.front() : fmt::format("{} and {} more", paths.front(), paths.size() - 1);
}

// Requests that are slower than they may be; told on the standard error.
bool isTooSlow(Compared const& compared, CompareOptions const& options) {
    if (options.failAbove.empty()) return false;
    double const share = *shareOf(options.failAbove);
    bool isAny = false;
    for (Difference const& each : compared.comparison.differences) {
        if (each.subject.of != Subject::Of::Request || !isSlowerBy(each, share)) continue;
        isAny = true;
        complain(fmt::format("slower by more than {:g} %: {}: at least {:+.1f} ms of {:.1f}", share * 100,
                             textOf(each.subject), each.interval->low, *each.medianBefore));
    }
    return isAny;
}

bool tell(Compared const& compared, CompareOptions const& options) {
    bool const toOutput = options.svg == "-";
    std::ostream& text = options.json || toOutput ? std::cerr : std::cout;
    Presentation presentation =
        presentationOn(&text == &std::cout ? STDOUT_FILENO : STDERR_FILENO, options.width);
    presentation.title = "before and after";
    presentation.full = options.full;
    if (options.json) {
        writeComparisonFile(compared, std::cout);
    } else {
        writeComparisonReport(compared, presentation, text);
    }
    if (toOutput) {
        writeComparisonSvg(compared, presentation, std::cout);
    } else if (!options.svg.empty()) {
        OutputFile(options.svg).write([&](std::ostream& out) {
            writeComparisonSvg(compared, presentation, out);
        });
    }
    if (std::cout.flush()) return true;
    complain("the output cannot be written");
    return false;
}

int run(CompareOptions& options) {
    if (options.after.empty()) {
        if (options.before.size() != 2)
            throw CannotOpen("two files are compared, or one set --with another; see --help");
        options.after = {options.before.back()};
        options.before.pop_back();
    }
    for (auto const* side : {&options.before, &options.after}) {
        for (std::string const& file : *side) {
            std::error_code none;
            if (!options.svg.empty() && std::filesystem::equivalent(file, options.svg, none))
                throw CannotOpen(options.svg + ": would replace " + file);
        }
    }
    if (options.json && options.svg == "-") throw CannotOpen("-: something else goes to the standard output");
    Compared compared{.nameBefore = nameOf(options.before),
                      .nameAfter = nameOf(options.after),
                      .before = seriesOf(options.before, options.input),
                      .after = seriesOf(options.after, options.input),
                      .comparison = {}};
    std::size_t const fewest = std::min(compared.before.runs().size(), compared.after.runs().size());
    if (!options.failAbove.empty() && fewest < kFewestForConfidence) {
        throw CannotOpen(
            fmt::format("--fail-above: needs {} runs on each side to say what is beyond doubt, not {}; "
                        "--repeat plays scenarios as often",
                        kFewestForConfidence, fewest));
    }
    compared.comparison = compare(compared.before, compared.after);
    bool const isTold = tell(compared, options);
    return isTooSlow(compared, options) || !isTold ? kFailed : kAllHeld;
}

}  // namespace

std::function<int()> addCompare(CLI::App& app) {
    auto const options = std::make_shared<CompareOptions>();
    addOptions(app, *options);
    return [options] { return run(*options); };
}

}  // namespace zeqcam::tool
