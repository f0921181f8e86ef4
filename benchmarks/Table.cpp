#include "Table.h"

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <iostream>

namespace zeqcam::benchmarks {
namespace {

std::string number(char const* format, double value) {
    char text[32];
    std::snprintf(text, sizeof text, format, value);
    return text;
}

std::string timeOf(double nanoseconds) {
    if (nanoseconds < 1e3) return number("%.2f ns", nanoseconds);
    if (nanoseconds < 1e6) return number("%.2f µs", nanoseconds / 1e3);
    return number("%.2f ms", nanoseconds / 1e6);
}

// Of an odd number of repetitions, sorted.
double median(std::vector<double> const& sorted) {
    return sorted[sorted.size() / 2];
}

template <class Combine>
std::vector<double> sortedPairs(std::vector<double> const& library, std::vector<double> const& other,
                                Combine combine) {
    std::vector<double> values;
    std::transform(library.begin(), library.end(), other.begin(), std::back_inserter(values), combine);
    std::sort(values.begin(), values.end());
    return values;
}

char const* verdict(double value, double target) {
    return value <= target ? "met" : "**missed**";
}

}  // namespace

bool Table::ReportContext(Context const& /*context*/) {
    return true;
}

void Table::ReportRuns(std::vector<Run> const& runs) {
    for (Run const& run : runs) {
        if (run.run_type != Run::RT_Iteration) continue;
        for (auto const& [side, time] : run.counters) {
            mTimes[run.run_name.function_name][side].push_back(time);
        }
        std::cerr << '.' << std::flush;
    }
}

void Table::print(std::ostream& out) const {
    std::cerr << '\n';
    out << "| what | time | against | time | ratio | lowest to highest | target | |\n"
           "|---|---|---|---|---|---|---|---|\n";
    for (Comparison const& comparison : mComparisons) {
        auto const times = mTimes.find(comparison.name);
        if (times == mTimes.end()) continue;
        std::vector<Side> const sides = comparison.sides();
        for (std::size_t i = 1; i < sides.size(); ++i) {
            printRow(out, comparison.name, times->second.at(sides[0].name), sides[i],
                     times->second.at(sides[i].name));
        }
    }
}

void Table::printRow(std::ostream& out, std::string const& name, std::vector<double> const& library,
                     Side const& against, std::vector<double> const& other) const {
    auto const ratios = sortedPairs(library, other, [](double a, double b) { return a / b; });
    auto const longer = sortedPairs(library, other, [](double a, double b) { return a - b; });
    auto const itself = sortedPairs(library, other, [](double a, double) { return a; });
    auto const others = sortedPairs(library, other, [](double, double b) { return b; });
    out << "| " << name << " | " << timeOf(median(itself)) << " | " << against.name << " | "
        << timeOf(median(others)) << " | " << number("%.2f", median(ratios)) << " | "
        << number("%.2f", ratios.front()) << " to " << number("%.2f", ratios.back()) << " | ";
    if (against.atMostRatio) {
        out << "at most " << number("%.2f", *against.atMostRatio) << " | "
            << verdict(median(ratios), *against.atMostRatio);
    } else if (against.atMostLonger) {
        out << "at most " << timeOf(*against.atMostLonger) << " longer | "
            << verdict(median(longer), *against.atMostLonger);
    } else {
        out << "shown | ";
    }
    out << " |\n";
}

}  // namespace zeqcam::benchmarks
