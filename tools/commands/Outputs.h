#pragma once

#include "files/OutputFile.h"
#include "views/View.h"

#include <functional>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

namespace CLI {
class App;
}

namespace zeqcam::tool {

// The files that a command line asks views to be written to. "-" and whatever else is the standard output
// stand for that.
class Outputs {
  public:
    Outputs();
    // Of these views alone, by their options.
    explicit Outputs(std::vector<std::string_view> const& options);

    // An option for each view that goes to a file. This object outlives the reading of the command line.
    void addOptions(CLI::App& app);

    // Before anything runs: what cannot be written is known then. None may replace a file of `inputs`;
    // `outputIsTaken`: by what must stand there alone. Throws CannotOpen.
    void open(std::vector<std::string> const& inputs, bool outputIsTaken);

    // Before `open`, of what has many runs to write. Throws CannotOpen where a view is of one run alone.
    void requireSeriesViews() const;

    // Whether any was asked for. From the reading of the command line on.
    [[nodiscard]] bool areAsked() const;

    // Whether one of them goes to the standard output. From `open` on.
    [[nodiscard]] bool takeOutput() const;

    // Writes them all, whatever becomes of the others, and complains of what cannot be written. Whether all
    // was.
    [[nodiscard]] bool write(Record const& record, Presentation const& presentation);
    [[nodiscard]] bool write(Series const& series, Presentation const& presentation);

    // The same, of what the only view is given instead of a record.
    [[nodiscard]] bool write(std::function<void(std::ostream& out)> const& fill);
    // The same, of what several views are given instead.
    [[nodiscard]] bool write(std::function<void(View const& view, std::ostream& out)> const& fill);

  private:
    template <class Write>
    bool writeEach(Write const& write);

    struct Output {
        View const* view;
        std::string path;                // empty: not asked for
        bool toOutput = false;           // the standard one
        std::optional<OutputFile> file;  // else
    };

    std::vector<Output> mOutputs;
};

}  // namespace zeqcam::tool
