#include "scenario/SettingPaths.h"

#include "scenario/Fields.h"
#include "scenario/ScenarioKeys.h"

#include <algorithm>
#include <numeric>
#include <optional>
#include <utility>

namespace zeqcam::tool {
namespace {

std::optional<std::int64_t> idOf(toml::table const& table) {
    auto const* const id = table.get_as<std::int64_t>("id");
    return id ? std::optional(id->get()) : std::nullopt;
}

// As a path tells it: by name, or by its place from 1.
std::string wordOf(toml::table const& element, std::size_t place) {
    auto const* const name = element.get_as<std::string>("name");
    if (!name) return std::to_string(idOf(element).value_or(static_cast<std::int64_t>(place + 1)));
    return name->get().find('.') == std::string::npos ? name->get() : inQuotes(name->get());
}

void addPaths(std::string const& before, std::string_view keys, toml::table const* table,
              std::vector<std::string>& paths) {
    for (Key const& key : scenarioKeys()) {
        if (key.table != keys || key.name == "include") continue;
        std::string const path = before + std::string(key.name);
        auto const* const node = table ? table->get(key.name) : nullptr;
        std::string const below = keysBelow(keys, key.name);
        if (key.type != Type::Tables) {
            auto const* const inner = node ? node->as_table() : nullptr;
            if (isTablePath(below)) addPaths(path + '.', below, inner, paths);
            if (key.type != Type::Table) paths.push_back(path);
            continue;
        }
        auto const* const list = node ? node->as_array() : nullptr;
        for (std::size_t i = 0; list && i < list->size(); ++i) {
            auto const* const element = list->get(i)->as_table();
            if (element) addPaths(path + '.' + wordOf(*element, i) + '.', below, element, paths);
        }
    }
}

}  // namespace

std::string keysBelow(std::string_view table, std::string_view key) {
    constexpr std::string_view kSteps = "client.steps";
    if (table == kSteps && key == "steps") return std::string(kSteps);  // a repeated step's own
    return table.empty() ? std::string(key) : std::string(table) + '.' + std::string(key);
}

bool isTablePath(std::string_view table) {
    auto const keys = scenarioKeys();
    return std::any_of(keys.begin(), keys.end(), [&](Key const& key) { return key.table == table; });
}

bool isFreeTable(std::string_view table) {
    if (isTablePath(table)) return false;
    auto const keys = scenarioKeys();
    return std::any_of(keys.begin(), keys.end(), [&](Key const& key) {
        std::string const path = keysBelow(key.table, key.name);
        return key.type == Type::Table && (table == path || table.starts_with(path + '.'));
    });
}

toml::table* chooseElement(std::vector<toml::table*> const& elements, std::string_view list,
                           std::string const& name) {
    auto const number = wholeNumber(name);
    auto const find = [&](auto const& is) -> toml::table* {
        auto const found = std::find_if(elements.begin(), elements.end(),
                                        [&](toml::table const* each) { return is(*each); });
        return found == elements.end() ? nullptr : *found;
    };
    auto* chosen = find([&](toml::table const& each) {
        auto const* const own = each.get_as<std::string>("name");
        return own && own->get() == name;
    });
    if (!chosen && number && list == "sensor")
        chosen = find([&](toml::table const& each) { return idOf(each) == number; });
    bool const isPlace = number && *number >= 1 && *number <= std::ssize(elements);
    if (!chosen && isPlace && list != "sensor") chosen = elements[static_cast<std::size_t>(*number) - 1];
    return chosen;
}

bool isSameSensor(std::string_view list, toml::table const& one, toml::table const& other) {
    return list == "sensor" && idOf(one) && idOf(one) == idOf(other);
}

std::size_t editDistance(std::string_view one, std::string_view other) {
    std::vector<std::size_t> row(other.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (std::size_t i = 0; i < one.size(); ++i) {
        std::size_t diagonal = std::exchange(row[0], i + 1);
        for (std::size_t j = 0; j < other.size(); ++j) {
            std::size_t const replaced = diagonal + (one[i] == other[j] ? 0 : 1);
            diagonal = row[j + 1];
            row[j + 1] = std::min({replaced, row[j] + 1, row[j + 1] + 1});
        }
    }
    return row.back();
}

std::string nearestPaths(std::string_view path, std::vector<toml::table*> const& files) {
    constexpr std::size_t kMost = 3;
    std::vector<std::string> paths;
    for (toml::table const* const file : files) addPaths("", "", file, paths);
    std::vector<std::pair<std::size_t, std::string>> near;
    for (std::string& each : paths) {
        std::size_t const distance = editDistance(path, each);
        near.emplace_back(distance, std::move(each));
    }
    std::stable_sort(near.begin(), near.end(),
                     [](auto const& left, auto const& right) { return left.first < right.first; });
    std::string text;
    std::size_t told = 0;
    for (std::size_t i = 0; i < near.size() && told < kMost; ++i) {
        bool const isAgain = std::any_of(near.begin(), near.begin() + static_cast<std::ptrdiff_t>(i),
                                         [&](auto const& each) { return each.second == near[i].second; });
        if (isAgain) continue;
        text += (told++ == 0 ? "" : ", ") + near[i].second;
    }
    return text;
}

}  // namespace zeqcam::tool
