#include "scenario/ScenarioKeys.h"
#include "scenario/ScenarioReader.h"
#include "scenario/ScenarioSchema.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

namespace {

using namespace zeqcam::tool;

// Words of the page for a type of the reader.
char const* wordFor(Type type) {
    switch (type) {
        case Type::Boolean:
            return "true or false";
        case Type::Integer:
            return "whole number";
        case Type::Integers:
            return "whole numbers";
        case Type::Number:
            return "number";
        case Type::Time:
            return "number or range";
        case Type::Text:
            return "text";
        case Type::Texts:
            return "text or texts";
        case Type::Choice:
            return "word";
        case Type::Sensors:
            return "sensors";
        case Type::Table:
            return "table";
        case Type::Tables:
            return "tables";
    }
    return "?";
}

std::string rangeOf(Key const& key) {
    if (key.type == Type::Choice) return std::string(key.unit);
    if (key.least == key.most) return "";
    std::ostringstream range;
    range.precision(15);
    range << key.least << " to " << key.most;
    return range.str();
}

std::string trimmed(std::string text) {
    std::erase(text, '`');
    auto const begin = text.find_first_not_of(' ');
    return begin == text.npos ? "" : text.substr(begin, text.find_last_not_of(' ') + 1 - begin);
}

// "table | key | value | range | unit | default | what it says", as a row of the page says it.
std::string rowOf(Key const& key) {
    std::string_view const unit = key.type == Type::Choice ? "" : key.unit;
    std::string_view const fallback = key.fallback.empty() ? "required" : key.fallback;
    std::ostringstream row;
    row << key.table << " | " << key.name << " | " << wordFor(key.type) << " | " << rangeOf(key) << " | "
        << unit << " | " << fallback << " | " << trimmed(std::string(key.says));
    return row.str();
}

struct Page {
    std::vector<std::string> rows;
    std::string examples;
};

// The rows of the page's tables, each with the heading above it, and its examples, joined.
Page readPage(char const* path) {
    Page page;
    std::string table;
    bool inExample = false;
    std::ifstream file(path);
    for (std::string line; std::getline(file, line);) {
        if (line.starts_with("```")) {
            inExample = line == "```toml";
        } else if (inExample) {
            page.examples += line + '\n';
        } else if (line.starts_with("#")) {
            table = line.find('`') == line.npos ? "" : trimmed(line.substr(line.find('`')));
        } else if (line.starts_with("| `")) {
            std::istringstream cells(line.substr(1));
            std::string row = table;
            std::string cell;
            for (int i = 0; i < 6 && std::getline(cells, cell, '|'); ++i) row += " | " + trimmed(cell);
            page.rows.push_back(row);
        }
    }
    return page;
}

std::vector<std::string> without(std::vector<std::string> rows, std::vector<std::string> const& others) {
    std::erase_if(rows, [&](auto const& row) { return std::count(others.begin(), others.end(), row) > 0; });
    return rows;
}

TEST(ScenarioPage, TellsOfEachKeyWhatTheReaderHoldsAndOfNoOther) {
    std::vector<std::string> keys;
    for (Key const& key : scenarioKeys()) keys.push_back(rowOf(key));
    auto const rows = readPage(ZEQCAM_SCENARIO_PAGE).rows;
    EXPECT_THAT(without(keys, rows), testing::IsEmpty()) << "of the reader, not told so on the page";
    EXPECT_THAT(without(rows, keys), testing::IsEmpty()) << "on the page, not so for the reader";
}

TEST(ScenarioSchema, StandsInTheFilesForEditorsAsTheKeysSayIt) {
    std::ostringstream expected, found;
    writeScenarioSchema(expected);
    found << std::ifstream(ZEQCAM_SCENARIO_SCHEMA).rdbuf();
    EXPECT_EQ(found.str(), expected.str()) << "zeqcam-power schema > docs/scenario.schema.json";
}

TEST(ScenarioPage, HasExamplesThatTogetherAreAScenario) {
    Reading const reading = readScenario(readPage(ZEQCAM_SCENARIO_PAGE).examples);
    for (Fault const& fault : reading.faults) {
        ADD_FAILURE() << "line " << fault.line << " of the examples: " << fault.field << ": "
                      << fault.message;
    }
    EXPECT_EQ(reading.scenario.clients.size(), 2U);
}

}  // namespace
