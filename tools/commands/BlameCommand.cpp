#include "commands/BlameCommand.h"

#include "analysis/Blame.h"
#include "commands/CauseReading.h"
#include "commands/Terminal.h"
#include "files/OutputFile.h"
#include "text/JsonText.h"
#include "text/Printable.h"
#include "text/TimeText.h"
#include "views/Table.h"

#include <fmt/format.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace zeqcam::tool {
namespace {

constexpr auto kBlameFooter =
    "Only what a request waited for counts: of sensors that are powered on together, the slowest. Sleeps of "
    "clients\n"
    "count nowhere. Of several runs or processes, MEDIAN is that of their times; what the files do not show "
    "is\n"
    "unknown.\n"
    "\n"
    "Exit status:\n"
    "  0    told\n"
    "  1    it cannot be written, or a run's process ended before the run\n"
    "  2    a file or the command line is wrong, or there is nothing to tell of\n"
    "  130  interrupted with Ctrl-C (SIGINT); what had been played until then is told\n";

double shareOf(Blame const& blame, Blame::Row const& row) {
    return blame.time().count() == 0 ? 0 : millisecondsOf(row.time) / millisecondsOf(blame.time());
}

void writeText(Blame const& blame, std::string const& names, CauseOptions const& options) {
    constexpr double kPercent = 100;
    Presentation const presentation = presentationOn(STDOUT_FILENO, options.width);
    bool const areSeveral = blame.records() > 1;
    std::cout << fmt::format(
        "{}: {} request{}{}, {} ms\n\n", printable(names), blame.requests(), blame.requests() == 1 ? "" : "s",
        areSeveral ? fmt::format(" of {} runs", blame.records()) : "", millisecondsText(blame.time()));
    std::vector<Table::Column> columns{{"TIME", Align::Right},
                                       {"SHARE", Align::Right},
                                       {"LONGEST", Align::Right},
                                       {"REQUESTS", Align::Right}};
    if (areSeveral) columns.insert(columns.begin() + 1, {"MEDIAN", Align::Right});
    columns.push_back({"WHERE"});
    Table table(std::move(columns));
    for (Blame::Row const& row : blame.rows()) {
        std::vector<std::string> cells{millisecondsText(row.time),
                                       fmt::format("{:.1f} %", kPercent * shareOf(blame, row)),
                                       millisecondsText(row.longest), std::to_string(row.requests)};
        if (areSeveral) cells.insert(cells.begin() + 1, millisecondsText(row.median));
        cells.push_back(printable(row.where));
        table.add(std::move(cells));
    }
    std::cout << table.text(Ink{presentation.colours}, presentation.columns);
}

void writeJson(Blame const& blame, std::vector<std::string> const& names) {
    using nlohmann::ordered_json;
    ordered_json json{{"names", names},
                      {"records", blame.records()},
                      {"requests", blame.requests()},
                      {"ms", millisecondsOf(blame.time())},
                      {"blame", ordered_json::array()}};
    for (Blame::Row const& row : blame.rows()) {
        json["blame"].push_back({{"where", row.where},
                                 {"kind", row.kind},
                                 {"ms", millisecondsOf(row.time)},
                                 {"share", shareOf(blame, row)},
                                 {"median_ms", millisecondsOf(row.median)},
                                 {"longest_ms", millisecondsOf(row.longest)},
                                 {"requests", row.requests}});
    }
    std::cout << jsonText(json, 2) << '\n';
}

int run(CauseOptions& options) {
    options.page.open(options.input);
    Blame blame;
    std::vector<std::string> names;  // each once
    auto const tellNothing = [](Input const&) { return std::string(); };
    int const status = eachRecordCauses(options, tellNothing, [&](RecordCauses const& kept) {
        for (RunCauses const& each : kept.runs) blame.add(spentOf(each));
        if (names.empty() || names.back() != kept.name) names.push_back(kept.name);
    });
    if (names.empty()) return status;
    if (options.json) {
        writeJson(blame, names);
    } else {
        std::string all;
        for (std::string const& name : names) all += (all.empty() ? "" : ", ") + name;
        writeText(blame, all, options);
    }
    bool const isWritten = options.page.write(blame, nullptr);
    if (!std::cout.flush()) complain("the output cannot be written");
    return isWritten && std::cout ? status : kFailed;
}

}  // namespace

std::function<int()> addBlame(CLI::App& app) {
    auto const options = std::make_shared<CauseOptions>();
    options->add(app);
    app.footer(kBlameFooter);
    return [options] { return run(*options); };
}

}  // namespace zeqcam::tool
