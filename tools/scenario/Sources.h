#pragma once

#include "scenario/Fields.h"

#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace zeqcam::tool {

// The files of a scenario: the one that is read, and those that it includes, each before what it includes
// itself and only once.
class Sources {
  public:
    explicit Sources(Faults& faults) : mFaults(faults) {}

    // Faults of files that cannot be read, that are no TOML, or that include themselves are reported.
    void readFile(std::string const& path);
    void readText(std::string_view text);

    // Empty when the file that was read has no table to begin with.
    [[nodiscard]] Tables tables() const;
    // The same, for who puts other values into them before they are read.
    [[nodiscard]] std::vector<toml::table*> editable();
    [[nodiscard]] std::vector<std::string> const& names() const { return mNames; }

  private:
    // What has led to a file.
    struct Way {
        Way const* before;
        std::filesystem::path file;
    };

    void read(std::string const& path, Way const* before, toml::node const* includer);
    void include(toml::table const& file, Way const& way);
    toml::table const* parse(std::string_view text, std::string const& path);
    void faultAt(toml::node const* includer, std::string const& path, std::string message);

    Faults& mFaults;
    std::vector<std::unique_ptr<toml::table>> mTables;
    std::vector<std::string> mNames;  // as they were reached
    std::vector<std::filesystem::path> mRead;
};

}  // namespace zeqcam::tool
