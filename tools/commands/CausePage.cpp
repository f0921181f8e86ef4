#include "commands/CausePage.h"

#include "commands/SourceTexts.h"
#include "scenario/ScenarioReader.h"
#include "series/RunFigures.h"
#include "views/BlamePart.h"
#include "views/SeriesPage.h"

#include <algorithm>

namespace zeqcam::tool {

CausePage::CausePage() : mOutputs({"html"}) {}

void CausePage::addOption(CLI::App& app) {
    mOutputs.addOptions(app);
}

void CausePage::open(InputOptions const& input) {
    mFiles = input.files;
    mOutputs.open(input.files, true);
}

void CausePage::take(Input const& input, std::vector<Chain const*> const& chosen) {
    if (!isAsked()) return;
    Record const& record = input.record;
    if (mBlame.records() == 0) {
        mTitle = input.name;
        Presentation presentation;
        if (input.isPlayed && mFiles.size() == 1)
            presentation.sources = sourceTexts(mFiles.front(), readScenarioFile(mFiles.front()).included);
        mOne = pageParts(record, presentation);
        std::erase_if(mOne, [](PagePart const& part) { return part.name == "blame"; });
        mSeries.file = input.name;
        mSeries.clock = record.clock;
        mSeries.runsBy = record.seed ? Series::RunsBy::Seed : Series::RunsBy::Cycle;
    }
    mBlame.add(record, chosen);
    mSeries.add(figuresOf(record, {}, record.seed.value_or(mBlame.records())));
}

bool CausePage::write() {
    std::vector<PagePart> parts =
        mBlame.records() > 1 ? pageParts(std::vector<NamedSeries>{{"", &mSeries}}) : mOne;
    parts.push_back(blamePart(mBlame));
    return mOutputs.write([&](std::ostream& out) { writePage(mTitle, parts, out); });
}

}  // namespace zeqcam::tool
