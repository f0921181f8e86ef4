#include "series/ResultReading.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <stdexcept>
#include <string_view>
#include <utility>
#include <vector>

namespace zeqcam::tool {
namespace {

using nlohmann::json;
using Of = Subject::Of;

constexpr int kFormOfOne = 2;
constexpr int kFormOfMany = 1;

void requireForm(json const& result, int form) {
    if (int const found = result.at("form"); found != form)
        throw std::runtime_error("its form is " + std::to_string(found) + ", not " + std::to_string(form));
}

ClockKind clockOf(json const& result) {
    std::string const name = result.at("clock");
    for (ClockKind const each :
         {ClockKind::Monotonic, ClockKind::Virtual, ClockKind::Wall, ClockKind::Boot, ClockKind::Trace}) {
        if (nameOf(each) == name) return each;
    }
    throw std::runtime_error("no clock is called " + name);
}

OptionalNumber<std::int32_t> lineOf(json const& each) {
    json const& line = each.at("line");
    return line.is_null() ? OptionalNumber<std::int32_t>() : line.get<std::int32_t>();
}

// ---- Of many runs ----

void addSamples(json const& each, Figure const& figure, std::vector<RunFigures>& runs) {
    json const& samples = each.at("samples_ms");
    json const& begins = each.at("began_ms");
    std::vector<std::uint64_t> const failed = each.at("failed_seeds");
    if (samples.size() != runs.size() || begins.size() != runs.size())
        throw std::runtime_error("a request has not as many samples as there are runs");
    // A seed may stand for several runs of a set: each takes its turn.
    std::multiset<std::uint64_t> left(failed.begin(), failed.end());
    for (std::size_t i = 0; i < runs.size(); ++i) {
        auto const found = left.find(runs[i].run);
        if (samples[i].is_null() && found == left.end()) continue;
        Figure& added = runs[i].figures.emplace_back(figure);
        if (!samples[i].is_null()) {
            added.ms = samples[i].get<double>();
            added.beganMs = begins[i];
        }
        added.failed = found != left.end();
        if (added.failed) left.erase(found);
    }
}

void addAll(json const& result, char const* key, Of of, char const* who, char const* what,
            std::vector<RunFigures>& runs) {
    for (json const& each : result.at(key)) {
        Figure figure;
        figure.subject = {of, each.at(who), each.at(what), each.at("nth")};
        figure.line = lineOf(each);
        addSamples(each, figure, runs);
    }
}

Series seriesOfMany(json const& result) {
    requireForm(result, kFormOfMany);
    std::vector<RunFigures> runs;
    for (std::uint64_t const seed : result.at("seeds")) runs.emplace_back().run = seed;
    addAll(result, "requests", Of::Request, "client", "request", runs);
    addAll(result, "sensors", Of::Sensor, "sensor", "call", runs);
    addAll(result, "services", Of::Service, "service", "call", runs);
    addAll(result, "expectations", Of::Expectation, "client", "step", runs);
    addAll(result, "links", Of::Link, "request", "link", runs);
    for (json const& failed : result.at("failed_runs")) {
        auto const run = std::find_if(runs.begin(), runs.end(), [&](RunFigures const& each) {
            return each.run == failed.at("seed") && each.verdict == Verdict::Passed;
        });
        if (run == runs.end()) throw std::runtime_error("a run failed that is none");
        run->verdict = failed.at("cut_off").get<bool>() ? Verdict::CutOff : Verdict::Failed;
        run->why = failed.at("reason");
    }
    Series series;
    series.runsBy = result.at("runs_by") == "cycle" ? Series::RunsBy::Cycle : Series::RunsBy::Seed;
    for (RunFigures& run : runs) series.add(std::move(run));
    return series;
}

// ---- Of one run ----

std::string whatOf(json const& request, std::map<int, std::string> const& names) {
    std::string what = request.at("request");
    RequestKind const kind = requestKindOf(what);
    bool const asks = kind == RequestKind::PowerOn || kind == RequestKind::PowerOff;
    if (!asks || request.at("sensors").is_null()) return what;
    for (int const sensor : request.at("sensors")) {
        auto const name = names.find(sensor);
        bool const isNamed = name != names.end() && !name->second.empty();
        what += ' ' + (isNamed ? name->second : std::to_string(sensor));
    }
    return what;
}

// A thread's id tells no client in another run.
std::string whoOf(json const& request) {
    std::string who = request.at("client");
    constexpr std::string_view kThread = "thread ";
    bool const isThread =
        who.starts_with(kThread) && who.find_first_not_of("0123456789", kThread.size()) == std::string::npos;
    return isThread ? std::string() : who;
}

bool isUnmet(json const& result, json const& request) {
    json const& unmet = result.at("unmet");
    return std::any_of(unmet.begin(), unmet.end(), [&](json const& each) {
        return each.at("line") == request.at("line") && each.at("client") == request.at("client");
    });
}

Series seriesOfOne(json const& result) {
    requireForm(result, kFormOfOne);
    RunFigures run;
    if (!result.at("seed").is_null()) run.run = result.at("seed");
    std::string const verdict = result.at("verdict");
    run.verdict = verdict == "passed"    ? Verdict::Passed
                  : verdict == "cut off" ? Verdict::CutOff
                                         : Verdict::Failed;
    std::map<int, std::string> names;
    for (json const& sensor : result.at("sensors")) names.emplace(sensor.at("id"), sensor.at("name"));
    std::map<std::pair<std::string, std::string>, int> times;
    for (json const& request : result.at("requests")) {
        Figure& figure = run.figures.emplace_back();
        figure.subject = {Of::Request, whoOf(request), whatOf(request, names)};
        figure.subject.nth = ++times[{figure.subject.who, figure.subject.what}];
        figure.line = lineOf(request);
        figure.beganMs = request.at("began_ms");
        bool const ended = request.at("ended");
        if (ended) figure.ms = request.at("wall_ms").get<double>();
        figure.failed = !ended || isUnmet(result, request);
    }
    Series series;
    series.add(std::move(run));
    return series;
}

}  // namespace

bool isResult(std::string const& path) {
    std::error_code none;
    if (!std::filesystem::is_regular_file(path, none)) return false;
    std::ifstream file(path);
    std::string begin(64, '\0');
    file.read(begin.data(), static_cast<std::streamsize>(begin.size()));
    begin.resize(static_cast<std::size_t>(file.gcount()));
    std::erase_if(begin, [](char c) { return c == ' ' || c == '\n' || c == '\r' || c == '\t'; });
    return begin.starts_with("{\"form\":");
}

Series readResult(std::string const& path) try {
    std::ifstream file(path);
    json const result = json::parse(file);
    Series series = result.contains("runs") ? seriesOfMany(result) : seriesOfOne(result);
    series.file = result.at("file");
    series.clock = clockOf(result);
    return series;
} catch (std::exception const& error) {
    throw std::runtime_error(path + ": is no result of this tool: " + error.what());
}

}  // namespace zeqcam::tool
