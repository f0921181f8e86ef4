#include "commands/CompareCommand.h"

#include "commands/CommonOptions.h"
#include "commands/Input.h"
#include "commands/Outputs.h"
#include "commands/Repeating.h"
#include "commands/SeriesInput.h"
#include "commands/Terminal.h"
#include "text/Printable.h"
#include "views/ComparisonPage.h"
#include "views/ComparisonReport.h"

#include <fmt/format.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
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
    "  2    a file or the command line is wrong, or there are too few runs for --fail-above\n"
    "  130  interrupted with Ctrl-C (SIGINT); what had been played until then is told\n";

struct CompareOptions {
    std::vector<std::string> before;
    std::vector<std::string> after;
    SeriesInput input;
    std::string failAbove;
    std::optional<int> width;
    Outputs outputs{{"svg", "html"}};
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
    options.outputs.addOptions(app);
    app.get_option("--svg")->description("Draw both distributions of each request on one scale.");
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

bool tell(Compared const& compared, CompareOptions& options) {
    std::ostream& text = options.json || options.outputs.takeOutput() ? std::cerr : std::cout;
    Presentation presentation =
        presentationOn(&text == &std::cout ? STDOUT_FILENO : STDERR_FILENO, options.width);
    presentation.title = "before and after";
    presentation.full = options.full;
    if (options.json) {
        writeComparisonFile(compared, std::cout);
    } else {
        writeComparisonReport(compared, presentation, text);
    }
    bool const isWritten = options.outputs.write([&](View const& view, std::ostream& out) {
        view.option == "svg" ? writeComparisonSvg(compared, presentation, out)
                             : writeComparisonPage(compared, presentation, out);
    });
    if (!std::cout.flush()) complain("the output cannot be written");
    return isWritten && std::cout;
}

// What is known of a single run's side once its figures are there; a scenario is played again for it.
void addRecord(InputRuns& runs, std::vector<std::string> const& files, CompareOptions const& options,
               RecordPlayer& player) {
    bool const isPlayed = files.size() == 1 && !runs.shown.sources.empty();
    if (isPlayed) runs.shown.record = player.play(files.front(), options.input);
}

// Where each side is a single run, and is to be shown, what happened in them.
void addRecords(InputRuns& before, InputRuns& after, CompareOptions const& options, RecordPlayer& player) {
    bool const areSingle = before.series.runs().size() == 1 && after.series.runs().size() == 1;
    if (!areSingle || (options.json && !options.outputs.areAsked())) return;
    // Nothing can be played after a run that is cut off because nobody can go on.
    bool const isAfterFirst = !before.series.failedRuns().empty();
    if (isAfterFirst) addRecord(after, options.after, options, player);
    addRecord(before, options.before, options, player);
    if (!isAfterFirst) addRecord(after, options.after, options, player);
}

void chooseSides(CompareOptions& options) {
    if (options.after.empty()) {
        if (options.before.size() != 2)
            throw CannotOpen("two files are compared, or one set --with another; see --help");
        options.after = {options.before.back()};
        options.before.pop_back();
    }
}

void requireEnoughRuns(Series const& before, Series const& after) {
    std::size_t const fewest = std::min(before.runs().size(), after.runs().size());
    if (fewest >= kFewestForConfidence) return;
    throw CannotOpen(
        fmt::format("--fail-above: needs {} runs on each side to say what is beyond doubt, not {}; "
                    "--repeat plays scenarios as often",
                    kFewestForConfidence, fewest));
}

// One line, where there is nothing to compare yet.
int endEarly(Compared const& compared, End end) {
    complain(fmt::format("was ended before any run of {}: {} of {} of {} were played", compared.nameAfter,
                         compared.before.runs().size(), std::max(compared.before.asked, std::size_t{1}),
                         compared.nameBefore));
    return statusOf(end);
}

int run(CompareOptions& options) {
    chooseSides(options);
    std::string const nameBefore = nameOf(options.before);
    std::string const nameAfter = nameOf(options.after);
    options.before = filesOf(options.before);
    options.after = filesOf(options.after);
    std::vector<std::string> all = options.before;
    all.insert(all.end(), options.after.begin(), options.after.end());
    options.outputs.open(options.outputs.areAsked() ? withIncluded(all) : all, options.json);
    RecordPlayer player;
    InputRuns before = runsOf(options.before, options.input);
    InputRuns after;
    End end = before.end;
    if (end == End::AllDone) {
        after = runsOf(options.after, options.input);
        end = after.end;
    }
    if (!options.failAbove.empty() && end == End::AllDone) requireEnoughRuns(before.series, after.series);
    if (end == End::AllDone) addRecords(before, after, options, player);
    Compared compared{.nameBefore = nameBefore,
                      .nameAfter = nameAfter,
                      .before = std::move(before.series),
                      .after = std::move(after.series),
                      .comparison = {},
                      .shownBefore = std::move(before.shown),
                      .shownAfter = std::move(after.shown)};
    if (compared.after.runs().empty() && end != End::AllDone) return endEarly(compared, end);
    compared.comparison = compare(compared.before, compared.after);
    bool const isTold = tell(compared, options);
    bool const isBad = isTooSlow(compared, options) || !isTold;
    int const status = end != End::AllDone ? statusOf(end) : isBad ? kFailed : kAllHeld;
    if (player.leavesThreads()) leave(status);
    return status;
}

}  // namespace

std::function<int()> addCompare(CLI::App& app) {
    auto const options = std::make_shared<CompareOptions>();
    addOptions(app, *options);
    return [options] { return run(*options); };
}

}  // namespace zeqcam::tool
