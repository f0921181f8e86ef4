#pragma once

#include "scenario/ScenarioKeys.h"
#include "scenario/ScenarioReader.h"
#include "scenario/Toml.h"

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zeqcam::tool {

using Faults = std::vector<Fault>;

int lineOf(toml::source_region const& source);
std::string inQuotes(std::string_view text);
// None where the text is anything else, or more than that.
std::optional<std::int64_t> wholeNumber(std::string_view text);

// One table of the file, read by the keys that it may hold. Made for each table once: it reports the keys
// that are unknown or missing. A value at fault is reported and reads as its default.
class Fields {
  public:
    // All three outlive it.
    Fields(std::string_view path, toml::table const& table, Faults& faults);

    [[nodiscard]] bool has(std::string_view name) const { return mTable.contains(name); }
    [[nodiscard]] toml::node const* node(std::string_view name) const { return mTable.get(name); }
    [[nodiscard]] Fields inner(std::string_view path, toml::table const& table) const {
        return {path, table, mFaults};
    }

    void fault(std::string_view name, std::string message) const;
    void faultAt(toml::node const& value, std::string_view name, std::string message) const;
    // Where what it holds has been read already.
    void faultAtLine(int line, std::string const& name, std::string message) const;
    // Of the table as a whole.
    void fault(std::string message) const;

    [[nodiscard]] bool boolean(std::string_view name) const;
    // Whether `integer` would find one without a fault.
    [[nodiscard]] bool holdsInteger(std::string_view name) const;
    [[nodiscard]] std::int64_t integer(std::string_view name) const;
    [[nodiscard]] std::vector<int> integers(std::string_view name) const;
    [[nodiscard]] double number(std::string_view name) const;
    [[nodiscard]] std::chrono::microseconds time(std::string_view name) const;
    [[nodiscard]] std::string text(std::string_view name) const;
    // The place of the word among the key's choices.
    [[nodiscard]] std::size_t choice(std::string_view name) const;

    // The elements of a list; none when it is absent.
    [[nodiscard]] std::vector<toml::node const*> list(std::string_view name, std::string_view message) const;
    // The tables of a list that must hold one at least.
    [[nodiscard]] std::vector<toml::table const*> tables(std::string_view name) const;
    // An empty table where the file has none.
    [[nodiscard]] toml::table const& table(std::string_view name) const;

  private:
    [[nodiscard]] Key const* find(std::string_view name) const;
    // What the reader asks for stands among the keys, or it would be an unknown field to every file.
    [[nodiscard]] Key const& keyOf(std::string_view name) const { return *find(name); }

    [[nodiscard]] std::int64_t integer(Key const& key, toml::node const& value) const;
    [[nodiscard]] double number(Key const& key, toml::node const& value) const;
    bool inRange(Key const& key, toml::node const& value, double number) const;
    void add(toml::source_region const& source, std::string_view name, std::string message) const;

    std::string_view mPath;
    toml::table const& mTable;
    Faults& mFaults;
};

}  // namespace zeqcam::tool
