#include "Table.h"

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <iostream>
#include <iterator>
#include <optional>

namespace zeqcam::benchmarks {
namespace {

std::string number(char const* format, double value) {
    char text[32];
    std::snprintf(text, sizeof text, format, value);
    return text;
}

std::string textOf(double cost, Unit unit) {
    if (unit == Unit::Number) return number("%.2f", cost);
    if (cost < 1e3) return number("%.2f ns", cost);
    if (cost < 1e6) return number("%.2f µs", cost / 1e3);
    return number("%.2f ms", cost / 1e6);
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

struct Row {
    std::string name;
    std::vector<double> const& library;
    Side const& against;
    std::vector<double> const& other;
    std::optional<double> atMostRatio;
};

void print(std::ostream& out, Row const& row) {
    auto const pairs = [&row](auto combine) { return sortedPairs(row.library, row.other, combine); };
    auto const ratios = pairs([](double a, double b) { return a / b; });
    auto const longer = pairs([](double a, double b) { return a - b; });
    auto const itself = pairs([](double a, double) { return a; });
    auto const others = pairs([](double, double b) { return b; });
    out << "| " << row.name << " | " << textOf(median(itself), row.against.unit) << " | " << row.against.name
        << " | " << textOf(median(others), row.against.unit) << " | " << number("%.2f", median(ratios))
        << " | " << number("%.2f", ratios.front()) << " to " << number("%.2f", ratios.back()) << " | ";
    if (row.atMostRatio) {
        out << "at most " << number("%.2f", *row.atMostRatio) << " | "
            << verdict(median(ratios), *row.atMostRatio);
    } else if (auto const most = row.against.atMostLonger) {
        out << "at most " << textOf(*most, Unit::Time) << " longer | " << verdict(median(longer), *most);
    } else {
        out << "shown | ";
    }
    out << " |\n";
}

}  // namespace

bool Table::ReportContext(Context const& /*context*/) {
    return true;
}

void Table::ReportRuns(std::vector<Run> const& runs) {
    for (Run const& run : runs) {
        if (run.run_type != Run::RT_Iteration) continue;
        std::string const& name = run.run_name.function_name;
        if (run.error_occurred) mSkipped[name] = run.error_message;
        for (auto const& [side, cost] : run.counters) mCosts[name][side].push_back(cost);
        std::cerr << '.' << std::flush;
    }
}

void Table::print(std::ostream& out) const {
    std::cerr << '\n';
    for (auto const& [name, reason] : mSkipped)
        std::cerr << "not measured: " << name << ": " << reason << '\n';
    out << "| what | cost | against | cost | ratio | lowest to highest | target | |\n"
           "|---|---|---|---|---|---|---|---|\n";
    for (Comparison const& comparison : mComparisons) {
        auto const found = mCosts.find(comparison.name);
        if (found == mCosts.end()) continue;
        Costs const& costs = found->second;
        std::vector<Side> const sides = comparison.sides();
        for (std::size_t i = 1; i < sides.size(); ++i) {
            Side const& library = sides[0];
            Side const& other = sides[i];
            benchmarks::print(out, {comparison.name, costs.at(library.name), other, costs.at(other.name),
                                    other.atMostRatio});
            if (!comparison.tails) continue;
            benchmarks::print(out, {comparison.name + kTail, costs.at(library.name + kTail), other,
                                    costs.at(other.name + kTail), other.atMostTailRatio});
        }
    }
}

}  // namespace zeqcam::benchmarks
