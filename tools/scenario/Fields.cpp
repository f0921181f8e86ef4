#include "scenario/Fields.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <sstream>
#include <utility>

namespace zeqcam::tool {
namespace {

std::vector<std::string_view> words(std::string_view list) {
    std::vector<std::string_view> found;
    for (std::size_t blank = 0; (blank = list.find(' ')) != list.npos; list.remove_prefix(blank + 1)) {
        found.push_back(list.substr(0, blank));
    }
    found.push_back(list);
    return found;
}

std::string shown(double number) {
    std::ostringstream text;
    text.precision(15);
    text << number;
    return text.str();
}

}  // namespace

int lineOf(toml::source_region const& source) {
    return std::max(1, static_cast<int>(source.begin.line));
}

std::string fileOf(toml::source_region const& source) {
    return source.path ? *source.path : std::string();
}

std::string inQuotes(std::string_view text) {
    return '"' + std::string(text) + '"';
}

std::optional<std::int64_t> wholeNumber(std::string_view text) {
    std::int64_t number = 0;
    auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc{} || end != text.data() + text.size()) return {};
    return number;
}

Fields::Fields(std::string_view path, Tables tables, Faults& faults, Says says)
    : mPath(path), mTables(std::move(tables)), mFaults(faults), mSays(says) {
    bool const isPartOfPart = mPath.find('.') != mPath.npos;
    for (auto const* const table : mTables) {
        for (auto&& [name, value] : *table) {
            Key const* const key = find(name.str());
            if (!key) add(name.source(), name.str(), "unknown field");
            if (key && says == Says::Changes && !isPartOfPart && !key->changes)
                add(name.source(), name.str(), "cannot be changed");
        }
    }
    if (says == Says::Changes) return;
    for (Key const& key : scenarioKeys()) {
        if (key.table == mPath && key.fallback.empty() && !has(key.name)) fault(key.name, "is missing");
    }
}

toml::node const* Fields::node(std::string_view name) const {
    for (auto const* const table : mTables) {
        if (auto const* const found = table->get(name)) return found;
    }
    return nullptr;
}

void Fields::fault(std::string_view name, std::string message) const {
    auto const* const value = node(name);
    add(value ? value->source() : mTables.front()->source(), name, std::move(message));
}

void Fields::faultAt(toml::node const& value, std::string_view name, std::string message) const {
    add(value.source(), name, std::move(message));
}

void Fields::faultAtLine(int line, std::string const& name, std::string message) const {
    mFaults.push_back(
        {line, std::string(mPath) + '.' + name, std::move(message), fileOf(mTables.front()->source())});
}

void Fields::fault(std::string message) const {
    auto const& source = mTables.front()->source();
    mFaults.push_back({lineOf(source), std::string(mPath), std::move(message), fileOf(source)});
}

bool Fields::boolean(std::string_view name) const {
    Key const& key = keyOf(name);
    auto const* const value = node(name);
    if (value && value->is_boolean()) return value->as_boolean()->get();
    if (value) fault(name, "must be true or false");
    return key.fallback == "true";
}

bool Fields::holdsInteger(std::string_view name) const {
    auto const* const value = node(name);
    auto const* const integer = value ? value->as_integer() : nullptr;
    return integer && keyOf(name).holds(static_cast<double>(integer->get()));
}

std::int64_t Fields::integer(std::string_view name) const {
    Key const& key = keyOf(name);
    auto const* const value = node(name);
    if (value) return integerOf(key, *value);
    return wholeNumber(key.fallback).value_or(0);
}

std::vector<int> Fields::integers(std::string_view name) const {
    Key const& key = keyOf(name);
    std::vector<int> numbers;
    for (auto const* const value : list(name, "must be a list of whole numbers")) {
        numbers.push_back(static_cast<int>(integerOf(key, *value)));
    }
    return numbers;
}

double Fields::number(std::string_view name) const {
    Key const& key = keyOf(name);
    auto const* const value = node(name);
    if (value) return numberOf(key, *value);
    return static_cast<double>(wholeNumber(key.fallback).value_or(0));
}

std::chrono::microseconds Fields::time(std::string_view name) const {
    return std::chrono::microseconds(std::llround(number(name) * 1000));
}

board::TimeRange Fields::timeRange(std::string_view name) const {
    auto const microseconds = [](double milliseconds) {
        return std::chrono::microseconds(std::llround(milliseconds * 1000));
    };
    auto const* const value = node(name);
    if (!value || !value->is_array()) return microseconds(number(name));
    auto const& ends = *value->as_array();
    if (ends.size() != 2 || !ends[0].is_number() || !ends[1].is_number()) {
        fault(name, "must be a number, or two: the least and the most");
        return {};
    }
    std::size_t const before = mFaults.size();
    board::TimeRange const range(microseconds(numberOf(keyOf(name), ends[0])),
                                 microseconds(numberOf(keyOf(name), ends[1])));
    if (range.most < range.least && mFaults.size() == before)
        fault(name, "must not have the most before the least");
    return range;
}

std::string Fields::text(std::string_view name) const {
    Key const& key = keyOf(name);
    auto const* const value = node(name);
    if (!value) return std::string(key.fallback);
    if (!value->is_string()) {
        fault(name, "must be a text");
        return {};
    }
    std::string text = value->as_string()->get();
    if (text.empty()) fault(name, "must not be empty");
    if (static_cast<double>(text.size()) > key.most)
        fault(name, "is longer than " + shown(key.most) + " bytes");
    return text;
}

std::size_t Fields::choice(std::string_view name) const {
    Key const& key = keyOf(name);
    auto const choices = words(key.unit);
    auto const* const value = node(name);
    bool const isText = value && value->is_string();
    std::string_view const word = isText ? std::string_view(value->as_string()->get()) : key.fallback;
    auto const found = std::find(choices.begin(), choices.end(), word);
    if (found != choices.end() && (isText || !value))
        return static_cast<std::size_t>(found - choices.begin());
    std::string message = "must be one of";
    for (auto const each : choices) message += ' ' + inQuotes(each);
    fault(name, std::move(message));
    return 0;
}

std::vector<toml::node const*> Fields::list(std::string_view name, std::string_view message) const {
    std::vector<toml::node const*> elements;
    auto const* const value = node(name);
    if (!value) return elements;
    if (!value->is_array()) {
        fault(name, std::string(message));
        return elements;
    }
    for (auto const& element : *value->as_array()) elements.push_back(&element);
    return elements;
}

Tables Fields::tables(std::string_view name) const {
    std::string const message = "must be a list of tables";
    Tables found;
    for (auto const* const table : mTables) {
        auto const* const value = table->get(name);
        if (!value) continue;
        if (!value->is_array()) {
            faultAt(*value, name, message);
            continue;
        }
        if (value->as_array()->empty()) faultAt(*value, name, "must not be empty");
        for (auto const& element : *value->as_array()) {
            if (!element.is_table()) faultAt(element, name, message);
            if (element.is_table()) found.push_back(element.as_table());
        }
    }
    return found;
}

Tables Fields::layers(std::string_view name) const {
    static toml::table const kEmpty;
    Tables found;
    for (auto const* const table : mTables) {
        auto const* const value = table->get(name);
        if (value && !value->is_table()) faultAt(*value, name, "must be a table");
        if (value && value->is_table()) found.push_back(value->as_table());
    }
    if (found.empty()) found.push_back(&kEmpty);
    return found;
}

Key const* Fields::find(std::string_view name) const {
    auto const keys = scenarioKeys();
    auto const found = std::find_if(keys.begin(), keys.end(),
                                    [&](Key const& key) { return key.table == mPath && key.name == name; });
    return found == keys.end() ? nullptr : &*found;
}

std::int64_t Fields::integerOf(Key const& key, toml::node const& value) const {
    if (!value.is_integer()) {
        faultAt(value, key.name, "must be a whole number");
        return 0;
    }
    std::int64_t const number = value.as_integer()->get();
    return inRange(key, value, static_cast<double>(number)) ? number : 0;
}

double Fields::numberOf(Key const& key, toml::node const& value) const {
    if (!value.is_number()) {
        faultAt(value, key.name, "must be a number");
        return key.least;
    }
    double const number = value.is_integer() ? static_cast<double>(value.as_integer()->get())
                                             : value.as_floating_point()->get();
    return inRange(key, value, number) ? number : key.least;
}

bool Fields::inRange(Key const& key, toml::node const& value, double number) const {
    if (key.holds(number)) return true;
    std::string range = "must be from " + shown(key.least) + " to " + shown(key.most);
    if (!key.unit.empty()) range += ' ' + std::string(key.unit);
    faultAt(value, key.name, range + ", not " + shown(number));
    return false;
}

void Fields::add(toml::source_region const& source, std::string_view name, std::string message) const {
    std::string field(mPath);
    if (!field.empty()) field += '.';
    field += name.empty() ? inQuotes(name) : name;
    mFaults.push_back({lineOf(source), std::move(field), std::move(message), fileOf(source)});
}

}  // namespace zeqcam::tool
