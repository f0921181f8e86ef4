#include "commands/ViewOptions.h"

#include "commands/Command.h"
#include "commands/CommonOptions.h"
#include "commands/Terminal.h"
#include "rules/Rule.h"
#include "views/Report.h"
#include "views/ResultFile.h"
#include "views/TerminalTimeline.h"

#include <fmt/format.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <chrono>
#include <cmath>
#include <filesystem>
#include <iostream>

namespace zeqcam::tool {
namespace {

CLI::Validator ruleCheck() {
    return {[](std::string& text) {
                auto const all = rules();
                bool const isKnown =
                    std::any_of(all.begin(), all.end(), [&](Rule const& rule) { return rule.name == text; });
                return isKnown ? std::string() : "no rule is named " + text + "; see zeqcam-power rules";
            },
            ""};
}

}  // namespace

void ViewOptions::addStrictness(CLI::App& app) {
    app.add_option("--allow", strictness.allowed, "Let this rule be broken; may be given again.")
        ->type_name("RULE")
        ->expected(1)
        ->take_all()
        ->check(ruleCheck());
    app.add_flag("--strict", strictness.clientsToo,
                 "Fail for a broken rule of the clients too, which else is a warning.");
}

void ViewOptions::addSelection(CLI::App& app) {
    constexpr double kMostMs = 1e9;
    auto const number = [&app](char const* name, auto& value, char const* help, auto most) {
        app.add_option(name, value, help)->check(CLI::Range(decltype(most){}, most).description(""));
    };
    app.add_option("--client", clients, "Show this client and its sensors only; may be repeated.")
        ->type_name("NAME")
        ->allow_extra_args(false);
    app.add_option("--sensor", sensors, "Show this sensor and its clients only; may be repeated.")
        ->type_name("NAME")
        ->allow_extra_args(false);
    number("--from", fromMs, "Show what happened from this time on, in milliseconds.", kMostMs);
    number("--to", toMs, "Show what happened until this time, in milliseconds.", kMostMs);
    addWidth(app, width);
    app.add_flag(
        "--full", full,
        "Show every row: else the timeline stops at 100 lines, the picture at 4000 pixels and 2 MB.");
}

void ViewOptions::select(std::vector<std::string> const& allClients,
                         std::map<int, std::string> const& allSensors, std::string const& in) {
    auto const time = [](std::optional<double> ms) {
        return ms ? std::optional(std::chrono::nanoseconds(std::llround(*ms * 1e6))) : std::nullopt;
    };
    selection = {time(fromMs), time(toMs), clients, {}};
    if (selection.from && selection.to && *selection.from >= *selection.to)
        throw CannotOpen("--to: must be later than --from");
    for (std::string const& name : clients) {
        if (std::find(allClients.begin(), allClients.end(), name) == allClients.end())
            throw CannotOpen(fmt::format("--client: {} has no client {}", in, name));
    }
    for (std::string const& name : sensors) {
        auto const found = std::find_if(allSensors.begin(), allSensors.end(), [&](auto const& each) {
            return each.second == name || std::to_string(each.first) == name;
        });
        if (found == allSensors.end())
            throw CannotOpen(fmt::format("--sensor: {} has no sensor {}", in, name));
        selection.sensors.push_back(found->first);
    }
}

std::ostream& ViewOptions::textOutput() const {
    return json || outputs.takeOutput() ? std::cerr : std::cout;
}

Presentation ViewOptions::presentation(std::string const& title) const {
    Presentation presentation =
        presentationOn(&textOutput() == &std::cout ? STDOUT_FILENO : STDERR_FILENO, width);
    presentation.selection = selection;
    presentation.full = full;
    presentation.strictness = strictness;
    presentation.title = title;
    presentation.sources = sources;
    return presentation;
}

bool tell(Record const& record, ViewOptions& options, std::string const& name) {
    std::ostream& text = options.textOutput();
    Presentation const presentation = options.presentation(std::filesystem::path(name).filename());
    if (options.json) {
        writeResult(record, presentation, std::cout);
    } else {
        text << '\n';
        writeTerminalTimeline(record, presentation, text);
        writeReport(record, presentation, text);
    }
    text.flush();
    if (record.cutOff) {
        complain(name + ": the run " + *record.cutOff + "; at that time");
        writePending(record, std::cerr);
    }
    bool const written = options.outputs.write(record, presentation);
    if (!std::cout.flush()) complain("the output cannot be written");
    return written && std::cout;
}

}  // namespace zeqcam::tool
