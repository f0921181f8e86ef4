#include "ByHand.h"
#include "SideBySide.h"
#include "Table.h"

#include <zeqcam/board/QosFile.h>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstddef>
#include <exception>
#include <iostream>
#include <numeric>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

namespace zeqcam::benchmarks {
namespace {

double percentile(std::vector<double> values, std::size_t percent) {
    auto const at = values.begin() + static_cast<std::ptrdiff_t>(values.size() * percent / 100);
    std::nth_element(values.begin(), at, values.end());
    return *at;
}

// The cost of one operation.
double sample(Side const& side) {
    side.prepare();
    double const before = side.meter();
    side.job();
    double const cost = side.meter() - before;
    side.undo();
    return cost / side.operations;
}

// Medians of samples, so that a job that was interrupted does not count. The order of the sides is drawn
// anew for each round: none always stands behind the same one.
void measure(benchmark::State& state, Comparison const& comparison) {
    std::vector<Side> const sides = comparison.sides();
    for (Side const& side : sides) sample(side);
    std::vector<std::vector<double>> samples(sides.size());
    std::vector<std::size_t> order(sides.size());
    std::iota(order.begin(), order.end(), std::size_t{0});
    std::minstd_rand random;
    for (auto _ : state) {
        std::shuffle(order.begin(), order.end(), random);
        for (std::size_t const turn : order) samples[turn].push_back(sample(sides[turn]));
        state.SetIterationTime(samples.front().back() * 1e-9);
    }
    for (std::size_t i = 0; i < sides.size(); ++i) {
        state.counters[sides[i].name] = percentile(samples[i], 50);
        if (comparison.tails) state.counters[sides[i].name + Table::kTail] = percentile(samples[i], 99);
    }
}

void measureIfPossible(benchmark::State& state, Comparison const& comparison) {
    try {
        measure(state, comparison);
    } catch (std::exception const& reason) {
        state.SkipWithError(reason.what());
    }
}

void run(int argc, char** argv) {
    // A line of the command that says otherwise comes later, and wins.
    std::vector<std::string> arguments{argv[0], "--benchmark_repetitions=9",
                                       "--benchmark_enable_random_interleaving=true"};
    arguments.insert(arguments.end(), argv + 1, argv + argc);
    std::vector<char*> pointers;
    for (std::string& argument : arguments) pointers.push_back(argument.data());
    int count = static_cast<int>(pointers.size());
    benchmark::Initialize(&count, pointers.data());
    if (benchmark::ReportUnrecognizedArguments(count, pointers.data()))
        throw std::invalid_argument("see above");

    Comparisons const all = allComparisons();
    for (Comparison const& comparison : all) {
        benchmark::RegisterBenchmark(
            comparison.name.c_str(),
            [&comparison](benchmark::State& state) { measureIfPossible(state, comparison); })
            ->Iterations(comparison.samples)
            ->UseManualTime();
    }
    Table table(all);
    benchmark::RunSpecifiedBenchmarks(&table);
    table.print(std::cout);
}

}  // namespace
}  // namespace zeqcam::benchmarks

// The QoS file comes first: namespaces are entered before any thread starts.
int main(int argc, char** argv) try {
    if (std::string const reason = zeqcam::board::QosFile::provide(); !reason.empty()) {
        throw std::runtime_error("no QoS file: " + reason);
    }
    zeqcam::benchmarks::checkSameCalls();
    zeqcam::benchmarks::run(argc, argv);
} catch (std::exception const& failure) {
    std::cerr << argv[0] << ": " << failure.what() << '\n';
    return 1;
}
