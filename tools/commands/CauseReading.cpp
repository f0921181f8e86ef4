#include "commands/CauseReading.h"

#include "commands/CommonOptions.h"
#include "files/OutputFile.h"
#include "series/Cycles.h"
#include "views/ChainText.h"

#include <CLI/CLI.hpp>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <nlohmann/json.hpp>
#include <set>
#include <utility>

namespace zeqcam::tool {
namespace {

using nlohmann::json;

// Of the requests that began from `begin` to `end`, those that are chosen; times are since `begin`.
RunCauses causesBetween(Record const& record, std::vector<Chain> const& chains, RequestChoice& choice,
                        Instant begin, Instant end) {
    auto const subjects = requestSubjectsOf(record);
    std::map<std::pair<std::string, std::string>, int> times;
    RunCauses run;
    for (Chain const& chain : chains) {
        Subject subject = subjects[chain.request];
        // The next cycle may begin as this one ends.
        bool const isWithin = chain.begin == begin || (chain.begin > begin && chain.begin < end);
        if (subject.what.empty() || !isWithin) continue;
        subject.nth = ++times[{subject.who, subject.what}];
        if (!choice.has(record, chain, begin)) continue;
        run.requests.push_back(
            {std::move(subject), chain.time(), spentOf(record, chain), chainLine(record, chain)});
    }
    return run;
}

std::vector<RunCauses> runsOf(Input const& input, std::vector<Chain> const& chains, CauseOptions& options) {
    Record const& record = input.record;
    std::vector<RunCauses> runs;
    if (input.isPlayed || !options.cycles) {
        runs.push_back(causesBetween(record, chains, options.choice, record.begin, Instant::max()));
        runs.back().name.seed = record.seed;
    } else {
        for (Cycle const& cycle : cyclesOf(record)) {
            runs.push_back(causesBetween(record, chains, options.choice, cycle.begin, cycle.end));
            runs.back().name.cycle = runs.size();
        }
    }
    for (RunCauses& run : runs) run.name.of = input.name;
    return runs;
}

template <class Number>
json numberOrNull(std::optional<Number> const& number) {
    return number ? json(*number) : json();
}

json packed(RunCauses const& run) {
    json requests = json::array();
    for (RequestCauses const& each : run.requests) {
        json spent = json::array();
        for (auto const& [where, kind, time] : each.spent) spent.push_back({where, kind, time.count()});
        requests.push_back({each.subject.who, each.subject.what, each.subject.nth, each.time.count(),
                            std::move(spent), each.line});
    }
    return {run.name.of, numberOrNull(run.name.seed), numberOrNull(run.name.cycle), std::move(requests)};
}

RunCauses runFrom(json const& from) {
    RunCauses run;
    run.name.of = from[0];
    if (!from[1].is_null()) run.name.seed = from[1].get<std::uint64_t>();
    if (!from[2].is_null()) run.name.cycle = from[2].get<std::size_t>();
    for (json const& each : from[3]) {
        RequestCauses& request = run.requests.emplace_back();
        request.subject = {Subject::Of::Request, each[0], each[1], each[2]};
        request.time = std::chrono::nanoseconds(each[3].get<std::int64_t>());
        for (json const& spent : each[4])
            request.spent.push_back(
                {spent[0], spent[1], std::chrono::nanoseconds(spent[2].get<std::int64_t>())});
        request.line = each[5];
    }
    return run;
}

}  // namespace

void CauseOptions::add(CLI::App& app) {
    input.add(app);
    app.add_flag("--cycles", cycles, "Of logs and traces, take each power cycle as a run.");
    choice.add(app);
    page.addOption(app);
    app.add_flag("--json", json, "Print the same as JSON, and nothing else.");
    addWidth(app, width);
}

std::vector<Chain const*> chosenOf(Record const& record, std::vector<Chain> const& chains,
                                   RequestChoice& choice) {
    std::vector<Chain const*> chosen;
    for (Chain const& chain : chains) {
        bool const isSleep = record.requests[chain.request].kind == RequestKind::Sleep;
        if (!isSleep && choice.has(record, chain, record.begin)) chosen.push_back(&chain);
    }
    return chosen;
}

int eachRecordCauses(CauseOptions& options, std::function<std::string(Input const& input)> const& tell,
                     std::function<void(RecordCauses kept)> const& take) {
    auto const keep = [&](Input const& input) {
        json runs = json::array();
        for (RunCauses const& run : runsOf(input, chainsOf(input.record), options))
            runs.push_back(packed(run));
        std::string bytes;
        json::to_cbor({input.name, std::move(runs), tell(input), options.choice.found(),
                       options.page.keep(input, options.cycles)},
                      bytes);
        return bytes;
    };
    std::size_t runs = 0;
    std::size_t cycles = 0;  // of all processes, one after another
    Inputs inputs(options.input);
    inputs.each(keep, [&](std::string const& bytes) {
        json const all = json::from_cbor(bytes);
        RecordCauses kept{all[0], {}, all[2]};
        for (json const& run : all[1]) {
            kept.runs.push_back(runFrom(run));
            ++runs;
            if (auto& cycle = kept.runs.back().name.cycle) cycle = ++cycles;
        }
        options.choice.addFound(all[3].get<std::set<std::string>>());
        options.page.take(all[4]);
        take(std::move(kept));
    });
    if (inputs.areCutShort()) return inputs.status();
    if (runs == 0)
        throw CannotOpen(
            "no power cycle has ended in what was read: no power-on with the power-off that ends it");
    options.choice.requireFound();
    return inputs.status();
}

}  // namespace zeqcam::tool
