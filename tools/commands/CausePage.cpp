#include "commands/CausePage.h"

#include "commands/SourceTexts.h"
#include "scenario/ScenarioReader.h"
#include "series/Cycles.h"
#include "series/FiguresBytes.h"
#include "views/BlamePart.h"
#include "views/ChainSeriesView.h"
#include "views/SeriesPage.h"

#include <algorithm>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>
#include <utility>

namespace zeqcam::tool {
namespace {

using nlohmann::json;

std::vector<RunFigures> figuresFor(Input const& input, bool byCycle) {
    Record const& record = input.record;
    if (byCycle && !input.isPlayed) return figuresOfCycles(record, {}, 1);
    return {figuresOf(record, {}, record.seed.value_or(0))};
}

// The page's list of tables, with one more.
void addTable(nlohmann::ordered_json table, std::vector<PagePart>& parts) {
    auto const found =
        std::find_if(parts.begin(), parts.end(), [](PagePart const& part) { return part.name == "tables"; });
    auto tables =
        found == parts.end() ? nlohmann::ordered_json::array() : nlohmann::ordered_json::parse(found->json);
    if (found != parts.end()) parts.erase(found);
    tables.push_back(std::move(table));
    parts.push_back({"tables", tables.dump(-1, ' ', false, json::error_handler_t::replace)});
}

}  // namespace

CausePage::CausePage() : mOutputs({"html"}) {}

void CausePage::addOption(CLI::App& app) {
    mOutputs.addOptions(app);
}

void CausePage::open(InputOptions const& input) {
    mFiles = input.files;
    mOutputs.open(mOutputs.areAsked() ? withIncluded(input.files) : input.files, true);
}

std::string CausePage::keep(Input const& input, bool byCycle) const {
    if (!mOutputs.areAsked()) return {};
    Record const& record = input.record;
    json parts = json::object();
    if (input.isFirst) {
        Presentation presentation;
        if (input.isPlayed && mFiles.size() == 1)
            presentation.sources = sourceTexts(mFiles.front(), readScenarioFile(mFiles.front()).included);
        for (PagePart const& part : pageParts(record, presentation)) {
            if (part.name != "blame") parts[std::string(part.name)] = part.json;
        }
    }
    json figures = json::array();
    for (RunFigures const& each : figuresFor(input, byCycle)) figures.push_back(bytesOf(each));
    std::string bytes;
    json::to_cbor({input.name, record.clock, record.seed.has_value(), std::move(parts), std::move(figures)},
                  bytes);
    return bytes;
}

void CausePage::take(std::string const& kept) {
    if (kept.empty()) return;
    json const all = json::from_cbor(kept);
    if (mRecords == 0) {
        mTitle = all[0];
        mOne = all[3];
        mSeries.file = mTitle;
        mSeries.clock = all[1];
        mSeries.runsBy = all[2] ? Series::RunsBy::Seed : Series::RunsBy::Cycle;
    }
    for (json const& each : all[4]) {
        RunFigures figures = figuresFrom(each.get<std::string>());
        ++mRecords;
        if (!all[2]) figures.run = mRecords;
        mSeries.add(std::move(figures));
    }
}

bool CausePage::write(Blame const& blame, ChainSeries const* chains) {
    if (!mOutputs.areAsked()) return true;
    std::vector<PagePart> parts;
    if (mRecords > 1) {
        parts = pageParts(std::vector<NamedSeries>{{"", &mSeries}});
    } else {
        for (auto const& [name, data] : mOne) parts.push_back({name, data});
    }
    if (chains != nullptr) addTable(chainSeriesTable(*chains), parts);
    parts.push_back(blamePart(blame));
    return mOutputs.write([&](std::ostream& out) { writePage(mTitle, parts, out); });
}

}  // namespace zeqcam::tool
