#pragma once

#include "analysis/Blame.h"
#include "commands/Input.h"
#include "commands/Outputs.h"
#include "series/ChainSeries.h"
#include "series/Series.h"
#include "views/Page.h"

#include <cstddef>
#include <map>
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

    // What the page takes of a record, as bytes; empty where no page is asked for. `byCycle`: of evidence,
    // each power cycle is a run.
    [[nodiscard]] std::string keep(Input const& input, bool byCycle) const;
    void take(std::string const& kept);

    // Whether all was written that was asked for; complains where it was not. `chains`: of many runs, what
    // the links of each request took.
    [[nodiscard]] bool write(Blame const& blame, ChainSeries const* chains);

  private:
    Outputs mOutputs;
    std::vector<std::string> mFiles;
    std::string mTitle;
    std::map<std::string, std::string> mOne;  // parts of the first record, by name
    std::size_t mRecords = 0;
    Series mSeries;
};

}  // namespace zeqcam::tool
