#pragma once

#include "analysis/Blame.h"
#include "analysis/Chain.h"
#include "commands/Input.h"
#include "commands/Outputs.h"
#include "series/Series.h"
#include "views/Page.h"

#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace zeqcam::tool {

// The page of a command that tells of causes: all of one record, or the figures of several; and where the
// time of the chosen requests went.
class CausePage {
  public:
    CausePage();

    // --html. This object outlives the reading of the command line.
    void addOption(CLI::App& app);

    // Before anything runs. Throws CannotOpen.
    void open(InputOptions const& input);

    // From the reading of the command line on.
    [[nodiscard]] bool isAsked() const { return mOutputs.areAsked(); }

    // Nothing where no page is asked for. The chains are some of the record's.
    void take(Input const& input, std::vector<Chain const*> const& chosen);

    // Whether all was written that was asked for; complains where it was not.
    [[nodiscard]] bool write();

  private:
    Outputs mOutputs;
    std::vector<std::string> mFiles;
    std::string mTitle;
    std::vector<PagePart> mOne;  // of the first record
    Series mSeries;
    Blame mBlame;
};

}  // namespace zeqcam::tool
