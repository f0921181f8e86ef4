#include "views/SeriesReport.h"

#include "series/Statistics.h"
#include "text/Printable.h"
#include "views/Table.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <utility>

namespace zeqcam::tool {
namespace {

using Of = Subject::Of;

constexpr std::size_t kSpreadCells = 10;
constexpr std::string_view kNotKnown = "-";

std::string ms(double number) {
    return fmt::format("{:.1f}", number);
}

std::string counted(std::size_t number, std::string_view what) {
    return fmt::format("{} {}{}", fmt::group_digits(number), what, number == 1 ? "" : "s");
}

bool varies(std::vector<double> const& sorted) {
    return !sorted.empty() && sorted.front() < sorted.back();
}

// What the rows of a table have to show; a column that has nothing is left out.
struct Columns {
    bool who = false;
    bool longestRun = false;
    bool spread = false;
    bool failed = false;
};

Columns columnsFor(std::vector<Series::Measured const*> const& all) {
    Columns columns;
    for (Series::Measured const* each : all) {
        columns.who = columns.who || !each->subject.who.empty();
        columns.failed = columns.failed || !each->failed.empty();
        columns.spread = columns.spread || varies(sortedTimes(*each));
    }
    columns.longestRun = columns.spread;
    return columns;
}

// Its times, or the sign that there are none, in the cells of a row.
void addTimes(Series const& series, Series::Measured const& measured, Columns const& columns, Glyphs glyphs,
              std::vector<std::string>& cells) {
    std::vector<double> const sorted = sortedTimes(measured);
    bool const isVaried = varies(sorted);
    Spread const spread = sorted.empty() ? Spread() : spreadOf(sorted);
    for (double const each : {spread.median, spread.p90, spread.p99, spread.longest})
        cells.push_back(sorted.empty() ? std::string(kNotKnown) : ms(each));
    if (columns.longestRun)
        cells.push_back(isVaried ? std::to_string(series.runs()[longestOf(measured)->run])
                                 : std::string(kNotKnown));
    if (!columns.spread) return;
    cells.push_back(
        isVaried ? sparkline(histogramOf(sorted, sorted.front(), sorted.back(), kSpreadCells).counts, glyphs)
                 : std::string(kNotKnown));
}

Table tableOf(Series const& series, std::vector<Series::Measured const*> const& all, std::string who,
              std::string what, Glyphs glyphs) {
    Columns const shown = columnsFor(all);
    std::vector<Table::Column> columns;
    if (shown.who) columns.push_back({std::move(who)});
    columns.push_back({std::move(what)});
    for (char const* heading : {"MEDIAN", "90%", "99%", "LONGEST"})
        columns.push_back({heading, Align::Right});
    if (shown.longestRun)
        columns.push_back({series.runsBy == Series::RunsBy::Seed ? "SEED" : "CYCLE", Align::Right});
    if (shown.spread) columns.push_back({"SPREAD"});
    if (shown.failed) columns.push_back({"FAILED", Align::Right});
    Table table(std::move(columns));
    for (Series::Measured const* each : all) {
        Subject const& subject = each->subject;
        std::vector<std::string> cells;
        if (shown.who) cells.push_back(subject.who.empty() ? std::string(kNotKnown) : printable(subject.who));
        cells.push_back(printable(subject.what) + (subject.nth > 1 ? fmt::format(" ({})", subject.nth) : ""));
        addTimes(series, *each, shown, glyphs, cells);
        if (shown.failed)
            cells.push_back(each->failed.empty() ? std::string(kNotKnown)
                                                 : std::to_string(each->failed.size()));
        table.add(std::move(cells), subject.of == Of::Request && !each->failed.empty());
    }
    return table;
}

// Calls on services mostly take no time: those are not worth a line.
std::size_t dropIdle(std::vector<Series::Measured const*>& all) {
    constexpr double kNoTime = 0.05;  // in milliseconds, shown as 0.0
    return std::erase_if(all, [](Series::Measured const* each) {
        auto const isShort = [](Series::Sample const& sample) { return sample.ms < kNoTime; };
        return each->failed.empty() && !each->samples.empty() &&
               std::all_of(each->samples.begin(), each->samples.end(), isShort);
    });
}

// The request whose median is the longest.
Series::Measured const* slowestOf(Series const& series) {
    Series::Measured const* slowest = nullptr;
    double median = -1;
    for (Series::Measured const* each : measuredOf(series, Of::Request)) {
        std::vector<double> const sorted = sortedTimes(*each);
        if (sorted.empty() || medianOf(sorted) <= median) continue;
        slowest = each;
        median = medianOf(sorted);
    }
    return slowest;
}

// A line for each bin, with as many samples as its bar is long.
std::string histogramText(Series::Measured const& measured, Presentation const& presentation, Ink ink) {
    constexpr std::size_t kBins = 10;
    constexpr std::size_t kFewest = 2 * kBins;  // of fewer the row of the table tells as much
    constexpr int kMostOfABar = 50;
    std::vector<double> const sorted = sortedTimes(measured);
    if (!varies(sorted) || sorted.size() < kFewest) return {};
    Histogram const histogram = histogramOf(sorted, sorted.front(), sorted.back(), kBins);
    std::size_t const most = *std::max_element(histogram.counts.begin(), histogram.counts.end());
    std::string_view const glyph = presentation.glyphs == Glyphs::Utf8 ? "█" : "#";
    int const room = std::clamp(presentation.columns - 30, 10, kMostOfABar);
    std::string text = ink.bold("How often " + printable(textOf(measured.subject)) + " took how long") + '\n';
    for (std::size_t i = 0; i < histogram.counts.size(); ++i) {
        double const from = histogram.begin + static_cast<double>(i) * histogram.width;
        std::size_t const length =
            (histogram.counts[i] * static_cast<std::size_t>(room) + most - 1) / most;  // none only for none
        std::string bar;
        for (std::size_t cell = 0; cell < length; ++cell) bar += glyph;
        text += fmt::format("  {:>8} to {:>8} ms {}{}{}\n", ms(from), ms(from + histogram.width), bar,
                            bar.empty() ? "" : " ", histogram.counts[i]);
    }
    return '\n' + text;
}

// What of one kind failed in which runs.
std::string failuresOf(Series const& series, Of of, std::string_view what, Ink ink) {
    std::string text;
    for (Series::Measured const* each : measuredOf(series, of)) {
        if (each->failed.empty()) continue;
        std::string const line = each->line ? fmt::format("line {}: ", *each->line) : "";
        text += ink.red(fmt::format("{}{}{} in {} of {}: {}", what, line, printable(textOf(each->subject)),
                                    each->failed.size(), counted(series.runs().size(), "run"),
                                    runsText(series, each->failed))) +
                '\n';
    }
    return text;
}

std::string verdictText(Series const& series, Ink ink) {
    std::size_t const runs = series.runs().size();
    std::string const missing =
        series.asked > runs ? fmt::format(", and {} were not run", fmt::group_digits(series.asked - runs))
                            : "";
    if (series.failedRuns().empty()) return counted(runs, "run") + ": all passed" + missing + '\n';
    std::vector<std::uint32_t> failed;
    for (Series::FailedRun const& each : series.failedRuns()) failed.push_back(each.run);
    Series::FailedRun const& first = series.failedRuns().front();
    std::string text = ink.red(fmt::format("{} of {} failed: {}", fmt::group_digits(failed.size()),
                                           counted(runs, "run"), runsText(series, failed))) +
                       missing + '\n';
    if (!first.why.empty()) text += "the first by: " + printable(first.why) + '\n';
    if (!series.repeatedBy.empty())
        text +=
            fmt::format("\nThe first is repeated by\n  {} {}\n", series.repeatedBy, series.runs()[first.run]);
    return text;
}

}  // namespace

std::string sparkline(std::vector<std::size_t> const& counts, Glyphs glyphs) {
    static constexpr std::array<std::string_view, 9> kBlocks{" ", "▁", "▂", "▃", "▄", "▅", "▆", "▇", "█"};
    static constexpr std::array<std::string_view, 9> kSigns{" ", ".", ":", "-", "=", "+", "*", "#", "@"};
    std::size_t const most = *std::max_element(counts.begin(), counts.end());
    std::string line;
    for (std::size_t const count : counts) {
        // What is there is seen, however little.
        std::size_t const level = most == 0 ? 0 : (count * (kBlocks.size() - 1) + most - 1) / most;
        line += (glyphs == Glyphs::Utf8 ? kBlocks : kSigns)[level];
    }
    return line;
}

std::string runsText(Series const& series, std::vector<std::uint32_t> const& runs) {
    constexpr std::size_t kMost = 10;
    std::string text = series.runsBy == Series::RunsBy::Seed ? "seed" : "cycle";
    if (runs.size() > 1) text += 's';
    for (std::size_t i = 0; i < std::min(kMost, runs.size()); ++i)
        text += (i == 0 ? " " : ", ") + std::to_string(series.runs()[runs[i]]);
    if (runs.size() > kMost) text += fmt::format(" and {} more", fmt::group_digits(runs.size() - kMost));
    return text;
}

void writeSeriesReport(Series const& series, Presentation const& presentation, std::ostream& out) {
    Ink const ink{presentation.colours};
    struct Part {
        Of of;
        char const* title;
        char const* who;
        char const* what;
    };
    for (auto const& [of, title, who, what] :
         {Part{Of::Request, "Requests, times in milliseconds", "CLIENT", "REQUEST"},
          Part{Of::Sensor, "Calls on sensors", "SENSOR", "CALL"},
          Part{Of::Service, "Calls on services", "SERVICE", "CALL"}}) {
        auto all = measuredOf(series, of);
        std::size_t const left = of == Of::Service ? dropIdle(all) : 0;
        if (!all.empty()) {
            out << '\n'
                << ink.bold(title) << '\n'
                << tableOf(series, all, who, what, presentation.glyphs).text(ink, presentation.columns);
        }
        if (left > 0)
            out << (all.empty() ? "\n" : "") << counted(left, "call") << " on services took no time\n";
    }
    if (Series::Measured const* const slowest = slowestOf(series))
        out << histogramText(*slowest, presentation, ink);
    out << '\n'
        << failuresOf(series, Of::Expectation, "expectation ", ink)
        << failuresOf(series, Of::Rule, "broken rule ", ink) << verdictText(series, ink);
}

}  // namespace zeqcam::tool
