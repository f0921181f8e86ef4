#include "commands/ChainCommand.h"

#include "analysis/Chain.h"
#include "commands/CausePage.h"
#include "commands/CommonOptions.h"
#include "commands/Input.h"
#include "commands/RequestChoice.h"
#include "commands/Terminal.h"
#include "files/OutputFile.h"
#include "text/JsonText.h"
#include "text/Printable.h"
#include "text/TimeText.h"
#include "views/ChainView.h"

#include <fmt/format.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstddef>
#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

namespace zeqcam::tool {
namespace {

constexpr auto kChainFooter =
    "The slowest request comes first. @ is when a link began, + is what it took, in milliseconds; the links "
    "of\n"
    "a request add up to its time, and the slowest of them stands out. What the files do not show is "
    "unknown.\n"
    "\n"
    "Exit status:\n"
    "  0    told\n"
    "  1    it cannot be written\n"
    "  2    a file or the command line is wrong, or there is nothing to tell of\n";

struct ChainOptions {
    InputOptions input;
    RequestChoice choice;
    CausePage page;
    bool full = false;
    bool json = false;
    std::optional<int> width;
};

void addOptions(CLI::App& app, ChainOptions& options) {
    options.input.add(app);
    options.choice.add(app);
    options.page.addOption(app);
    app.add_flag("--full", options.full,
                 "Tell every request and every link: else ten, and short links together.");
    app.add_flag("--json", options.json, "Print the chains as JSON, and nothing else.");
    addWidth(app, options.width);
    app.footer(kChainFooter);
}

// The chosen ones, the slowest first. Those that took no time are told where they are asked for.
std::vector<Chain const*> chosenOf(Record const& record, std::vector<Chain> const& chains,
                                   ChainOptions& options) {
    std::vector<Chain const*> chosen;
    bool const withAll = options.full || options.json || !options.choice.requests.empty();
    for (Chain const& chain : chains) {
        bool const isSleep = record.requests[chain.request].kind == RequestKind::Sleep;
        bool const isChosen = options.choice.has(record, chain);
        if (isChosen && !isSleep && (withAll || chain.slowest)) chosen.push_back(&chain);
    }
    std::stable_sort(chosen.begin(), chosen.end(),
                     [](Chain const* left, Chain const* right) { return left->time() > right->time(); });
    return chosen;
}

void writeText(Input const& input, ChainOptions& options) {
    constexpr std::size_t kMost = 10;
    Record const& record = input.record;
    auto const chains = chainsOf(record);
    auto const chosen = chosenOf(record, chains, options);
    Presentation presentation = presentationOn(STDOUT_FILENO, options.width);
    presentation.full = options.full;
    std::cout << printable(input.name);
    if (record.seed) std::cout << ", seed " << *record.seed;
    std::cout << ", times in milliseconds\n";
    std::size_t const most = options.full ? chosen.size() : std::min(kMost, chosen.size());
    for (std::size_t i = 0; i < most; ++i) {
        std::cout << '\n';
        writeChain(record, chains, *chosen[i], presentation, std::cout);
    }
    if (chosen.empty()) std::cout << "\nno request took any time\n";
    if (chosen.size() > most) {
        std::cout << fmt::format("\n{} requests more, the slowest {}: --full tells them, --request one\n",
                                 chosen.size() - most, millisecondsText(chosen[most]->time()));
    }
}

nlohmann::ordered_json jsonOf(Input const& input, ChainOptions& options) {
    auto const chains = chainsOf(input.record);
    nlohmann::ordered_json json{{"name", input.name}, {"requests", nlohmann::ordered_json::array()}};
    if (input.record.seed) json["seed"] = *input.record.seed;
    for (Chain const* const chain : chosenOf(input.record, chains, options))
        json["requests"].push_back(chainJson(input.record, *chain));
    return json;
}

int run(ChainOptions& options) {
    options.page.open(options.input);
    Inputs inputs(options.input);
    nlohmann::ordered_json json{{"records", nlohmann::ordered_json::array()}};
    bool isFirst = true;
    inputs.each([&](Input const& input) {
        if (options.page.isAsked()) {
            auto const chains = chainsOf(input.record);
            options.page.take(input, chosenOf(input.record, chains, options));
        }
        if (options.json) {
            json["records"].push_back(jsonOf(input, options));
            return;
        }
        if (!isFirst) std::cout << '\n';
        isFirst = false;
        writeText(input, options);
    });
    options.choice.requireFound();
    if (options.json) {
        std::cout << jsonText(json, 2) << '\n';
    }
    bool const isWritten = options.page.write();
    if (!std::cout.flush()) complain("the output cannot be written");
    return inputs.end(isWritten && std::cout ? kAllHeld : kFailed);
}

}  // namespace

std::function<int()> addChain(CLI::App& app) {
    auto const options = std::make_shared<ChainOptions>();
    addOptions(app, *options);
    return [options] { return run(*options); };
}

}  // namespace zeqcam::tool
