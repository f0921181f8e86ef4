#include "scenario/Settings.h"

#include "scenario/Fields.h"
#include "scenario/ScenarioKeys.h"
#include "scenario/SettingPaths.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdio>
#include <optional>
#include <utility>

namespace zeqcam::tool {
namespace {

// `client."a.b".steps` as client, a.b, steps.
std::vector<std::string> partsOf(std::string_view path) {
    std::vector<std::string> parts(1);
    bool isQuoted = false;
    for (char const c : path) {
        if (c == '"') {
            isQuoted = !isQuoted;
        } else if (c == '.' && !isQuoted) {
            parts.emplace_back();
        } else {
            parts.back() += c;
        }
    }
    return parts;
}

// The text as a value of a file, or as a word where it is none. It tells where it comes from. Empty: it is no
// text.
toml::table valueOf(std::string const& text, std::string const& label) {
    bool const isOneLine = text.find('\n') == std::string::npos;
    if (toml::parse_result parsed = toml::parse("v = " + text, label); isOneLine && parsed)
        return std::move(parsed).table();
    std::string quoted;
    for (char const c : text) {
        std::array<char, 8> escape{};
        bool const isControl = static_cast<unsigned char>(c) < ' ';
        if (isControl) std::snprintf(escape.data(), escape.size(), "\\u%04X", static_cast<unsigned>(c));
        if (c == '"' || c == '\\') quoted += '\\';
        quoted += isControl ? std::string(escape.data()) : std::string(1, c);
    }
    toml::parse_result parsed = toml::parse("v = \"" + quoted + '"', label);
    return parsed ? std::move(parsed).table() : toml::table();
}

void put(toml::table& into, std::string const& name, std::string const& text, std::string const& label) {
    toml::table parsed = valueOf(text, label);
    if (auto* const value = parsed.get("v"))
        into.insert_or_assign(toml::key(name, value->source()), std::move(*value));
}

// The table of that name, made where there is none.
toml::table& tableIn(toml::table& table, std::string const& name, std::string const& label) {
    auto* const found = table.get(name);
    if (!found || !found->is_table()) put(table, name, "{}", label);
    return *table.get(name)->as_table();
}

Key const* findKey(std::string_view table, std::string_view name) {
    auto const keys = scenarioKeys();
    auto const found = std::find_if(keys.begin(), keys.end(),
                                    [&](Key const& key) { return key.table == table && key.name == name; });
    return found == keys.end() ? nullptr : &*found;
}

// Where a path has come to: the tables that tell of it, what an outer file says first.
struct At {
    std::vector<toml::table*> tables;
    std::string keys;  // the table of scenarioKeys()
};

// None: there is no such element.
std::optional<At> elementOf(At const& at, std::string const& list, std::string const& name) {
    std::vector<toml::table*> all;
    for (toml::table* const table : at.tables) {
        auto* const found = table->get_as<toml::array>(list);
        if (!found) continue;
        for (auto&& each : *found) {
            if (auto* const element = each.as_table()) all.push_back(element);
        }
    }
    At element{{}, keysBelow(at.keys, list)};
    toml::table* const chosen = chooseElement(all, list, name);
    if (!chosen) return {};
    for (toml::table* const each : all) {
        if (each == chosen || isSameSensor(list, *each, *chosen)) element.tables.push_back(each);
    }
    return element;
}

// Whether the path leads to a key, which then has the value.
bool apply(std::vector<std::string> const& path, std::string const& value, std::string const& label, At at) {
    for (std::size_t i = 0; i + 1 < path.size(); ++i) {
        Key const* const key = findKey(at.keys, path[i]);
        if (key && key->type == Type::Tables) {
            if (i + 2 >= path.size()) return false;  // no element, or none of its keys, is named
            auto const element = elementOf(at, path[i], path[i + 1]);
            if (!element) return false;
            at = *element;
            ++i;
            continue;
        }
        std::string const below = keysBelow(at.keys, path[i]);
        bool const isFree = isFreeTable(at.keys);
        if (!isFree && !isTablePath(below) && !(key && key->type == Type::Table)) return false;
        at = {{&tableIn(*at.tables.front(), path[i], label)}, below};
    }
    Key const* const key = findKey(at.keys, path.back());
    if (!isFreeTable(at.keys) && (!key || key->type == Type::Tables)) return false;
    put(*at.tables.front(), path.back(), value, label);
    return true;
}

}  // namespace

std::string settingLabel(std::string_view setting) {
    return "--set " + std::string(setting);
}

void applySettings(std::vector<std::string> const& settings, std::vector<toml::table*> const& files,
                   std::vector<Fault>& faults) {
    for (std::string const& setting : settings) {
        std::string const label = settingLabel(setting);
        std::size_t const equals = setting.find('=');
        if (equals == std::string::npos || equals == 0) {
            faults.push_back({0, "", "must be PATH=VALUE", label});
            continue;
        }
        std::string const path = setting.substr(0, equals);
        if (valueOf(setting.substr(equals + 1), label).empty()) {
            faults.push_back({0, path, "the value is no text in UTF-8", label});
            continue;
        }
        if (apply(partsOf(path), setting.substr(equals + 1), label, {files, ""})) continue;
        faults.push_back({0, "", "no value stands there; nearest are " + nearestPaths(path, files), label});
    }
}

}  // namespace zeqcam::tool
