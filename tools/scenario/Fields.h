#pragma once

#include "scenario/ScenarioKeys.h"
#include "scenario/ScenarioReader.h"
#include "scenario/Toml.h"

#include <zeqcam/board/Board.h>

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace zeqcam::tool {

using Faults = std::vector<Fault>;

int lineOf(toml::source_region const& source);
std::string fileOf(toml::source_region const& source);
std::string inQuotes(std::string_view text);
// None where the text is anything else, or more than that.
std::optional<std::int64_t> wholeNumber(std::string_view text);

// How much a table says of a thing.
enum class Says : std::uint8_t {
    All,      // what it does not name has its default
    Changes,  // what it names, and only what may change
};

// A table, and behind it those that say what it leaves open.
using Tables = std::vector<toml::table const*>;

// One table of the file, read by the keys that it may hold. Made for each table once: it reports the keys
// that are unknown or missing. A value at fault is reported and reads as its default.
class Fields {
  public:
    // The text of the path, the tables, at least one, and the faults outlive it.
    Fields(std::string_view path, Tables tables, Faults& faults, Says says = Says::All);

    [[nodiscard]] bool has(std::string_view name) const { return node(name) != nullptr; }
    [[nodiscard]] toml::node const* node(std::string_view name) const;
    // Whether the table says something of it, if only that it has its default.
    [[nodiscard]] bool tells(std::string_view name) const { return mSays == Says::All || has(name); }
    [[nodiscard]] Fields inner(std::string_view path, toml::table const& table, Says says = Says::All) const {
        return {path, Tables{&table}, mFaults, says};
    }
    [[nodiscard]] Fields inner(std::string_view path, Tables tables) const {
        return {path, std::move(tables), mFaults};
    }
    [[nodiscard]] Says says() const { return mSays; }

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
    [[nodiscard]] board::TimeRange timeRange(std::string_view name) const;
    [[nodiscard]] std::int32_t int32(std::string_view name) const {
        return static_cast<std::int32_t>(integer(name));
    }
    [[nodiscard]] std::string text(std::string_view name) const;
    // The place of the word among the key's choices.
    [[nodiscard]] std::size_t choice(std::string_view name) const;

    // The elements of a list; none when it is absent.
    [[nodiscard]] std::vector<toml::node const*> list(std::string_view name, std::string_view message) const;
    // The tables of a list that must hold one at least; of all such lists, where there are several tables.
    [[nodiscard]] Tables tables(std::string_view name) const;
    // An empty table where the file has none.
    [[nodiscard]] toml::table const& table(std::string_view name) const { return *layers(name).front(); }
    // The table of that name in each, or an empty one.
    [[nodiscard]] Tables layers(std::string_view name) const;

  private:
    [[nodiscard]] Key const* find(std::string_view name) const;
    // What the reader asks for stands among the keys, or it would be an unknown field to every file.
    [[nodiscard]] Key const& keyOf(std::string_view name) const { return *find(name); }

    [[nodiscard]] std::int64_t integerOf(Key const& key, toml::node const& value) const;
    [[nodiscard]] double numberOf(Key const& key, toml::node const& value) const;
    bool inRange(Key const& key, toml::node const& value, double number) const;
    void add(toml::source_region const& source, std::string_view name, std::string message) const;

    std::string_view mPath;
    Tables const mTables;
    Faults& mFaults;
    Says const mSays;
};

}  // namespace zeqcam::tool
