#include "commands/ChainCommand.h"

#include "analysis/Chain.h"
#include "commands/CauseReading.h"
#include "commands/Terminal.h"
#include "files/OutputFile.h"
#include "series/ChainSeries.h"
#include "text/JsonText.h"
#include "text/Printable.h"
#include "text/TimeText.h"
#include "views/ChainSeriesView.h"
#include "views/ChainView.h"

#include <fmt/format.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstddef>
#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace zeqcam::tool {
namespace {

constexpr auto kChainFooter =
    "The slowest request comes first. @ is when a link began, + is what it took, in milliseconds; the links "
    "of\n"
    "a request add up to its time, and the slowest of them stands out. What the files do not show is "
    "unknown.\n"
    "\n"
    "Of many runs, by --repeat or --cycles, it tells of each request in how many runs each link took time, "
    "the\n"
    "median in those, and what it took in the slowest.\n"
    "\n"
    "Exit status:\n"
    "  0    told\n"
    "  1    it cannot be written, or a run's process ended before the run\n"
    "  2    a file or the command line is wrong, or there is nothing to tell of\n"
    "  130  interrupted with Ctrl-C (SIGINT); what had been played until then is told\n";

struct ChainOptions : CauseOptions {
    bool full = false;
};

// The chosen ones, the slowest first. Those that took no time are told where they are asked for.
std::vector<Chain const*> slowestFirst(Record const& record, std::vector<Chain> const& chains,
                                       ChainOptions& options) {
    auto chosen = chosenOf(record, chains, options.choice);
    bool const withAll = options.full || options.json || !options.choice.requests.empty();
    std::erase_if(chosen, [&](Chain const* chain) { return !withAll && !chain->slowest; });
    std::stable_sort(chosen.begin(), chosen.end(),
                     [](Chain const* left, Chain const* right) { return left->time() > right->time(); });
    return chosen;
}

Presentation presentationFor(ChainOptions const& options) {
    Presentation presentation = presentationOn(STDOUT_FILENO, options.width);
    presentation.full = options.full;
    return presentation;
}

std::string recordText(Input const& input, ChainOptions& options) {
    constexpr std::size_t kMost = 10;
    Record const& record = input.record;
    auto const chains = chainsOf(record);
    auto const chosen = slowestFirst(record, chains, options);
    Presentation const presentation = presentationFor(options);
    std::ostringstream text;
    text << printable(input.name);
    if (record.seed) text << ", seed " << *record.seed;
    text << ", times in milliseconds\n";
    if (record.cutOff) text << "the run " << printable(*record.cutOff) << '\n';
    std::size_t const most = options.full ? chosen.size() : std::min(kMost, chosen.size());
    for (std::size_t i = 0; i < most; ++i) {
        text << '\n';
        writeChain(record, chains, *chosen[i], presentation, text);
    }
    if (chosen.empty()) text << "\nno request took any time\n";
    if (chosen.size() > most) {
        text << fmt::format("\n{} requests more, the slowest {}: --full tells them, --request one\n",
                            chosen.size() - most, millisecondsText(chosen[most]->time()));
    }
    return text.str();
}

std::string recordJson(Input const& input, ChainOptions& options) {
    auto const chains = chainsOf(input.record);
    nlohmann::ordered_json json{{"name", input.name}, {"requests", nlohmann::ordered_json::array()}};
    if (input.record.seed) json["seed"] = *input.record.seed;
    for (Chain const* const chain : slowestFirst(input.record, chains, options))
        json["requests"].push_back(chainJson(input.record, *chain));
    return jsonText(json, 2);
}

// What is told of one record, where it is told of by itself.
std::string tellOne(Input const& input, ChainOptions& options) {
    if (options.areMany()) return {};
    return options.json ? recordJson(input, options) : recordText(input, options);
}

void tellMany(ChainSeries const& series, std::vector<std::string> const& names, ChainOptions const& options) {
    if (options.json) {
        nlohmann::ordered_json json{{"names", names}};
        json.update(chainSeriesJson(series));
        std::cout << jsonText(json, 2) << '\n';
        return;
    }
    std::string all;
    for (std::string const& name : names) all += (all.empty() ? "" : ", ") + name;
    std::cout << fmt::format("{}, {} run{}, times in milliseconds\n", printable(all), series.runs(),
                             series.runs() == 1 ? "" : "s");
    writeChainSeries(series, presentationFor(options), std::cout);
}

int run(ChainOptions& options) {
    options.page.open(options.input);
    Blame blame;
    ChainSeries series;
    std::vector<std::string> names;  // each once
    nlohmann::ordered_json json{{"records", nlohmann::ordered_json::array()}};
    auto const tell = [&](Input const& input) { return tellOne(input, options); };
    int const status = eachRecordCauses(options, tell, [&](RecordCauses kept) {
        if (names.empty() || names.back() != kept.name) names.push_back(kept.name);
        for (RunCauses& each : kept.runs) {
            blame.add(spentOf(each));
            if (options.areMany()) series.add(std::move(each));
        }
        if (options.areMany()) return;
        if (options.json) {
            json["records"].push_back(nlohmann::ordered_json::parse(kept.told));
        } else {
            std::cout << (blame.records() > 1 ? "\n" : "") << kept.told;
        }
    });
    if (names.empty()) return status;
    if (options.areMany()) {
        tellMany(series, names, options);
    } else if (options.json) {
        std::cout << jsonText(json, 2) << '\n';
    }
    bool const isWritten = options.page.write(blame, options.areMany() ? &series : nullptr);
    if (!std::cout.flush()) complain("the output cannot be written");
    return isWritten && std::cout ? status : kFailed;
}

}  // namespace

std::function<int()> addChain(CLI::App& app) {
    auto const options = std::make_shared<ChainOptions>();
    options->add(app);
    app.add_flag("--full", options->full,
                 "Tell every request and every link: else ten, and short links together.");
    app.footer(kChainFooter);
    return [options] { return run(*options); };
}

}  // namespace zeqcam::tool
