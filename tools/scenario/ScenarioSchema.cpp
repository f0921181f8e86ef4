#include "scenario/ScenarioSchema.h"

#include "scenario/ScenarioKeys.h"

#include <cmath>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <ostream>
#include <sstream>
#include <string>

namespace zeqcam::tool {
namespace {

using Json = nlohmann::ordered_json;

Json numberOf(double number) {
    if (number == std::floor(number)) return static_cast<std::int64_t>(number);
    return number;
}

Json inRange(Key const& key, char const* type) {
    Json schema{{"type", type}};
    if (key.least != key.most) {
        schema["minimum"] = numberOf(key.least);
        schema["maximum"] = numberOf(key.most);
    }
    return schema;
}

Json listOf(Json items) {
    return {{"type", "array"}, {"items", std::move(items)}};
}

Json textOf(Key const& key) {
    return {{"type", "string"}, {"minLength", numberOf(key.least)}, {"maxLength", numberOf(key.most)}};
}

Json oneOf(Json one, Json other) {
    return {{"anyOf", Json::array({std::move(one), std::move(other)})}};
}

std::string pathOf(Key const& key) {
    return key.table.empty() ? std::string(key.name) : std::string(key.table) + '.' + std::string(key.name);
}

Json refersTo(std::string const& path) {
    return {{"$ref", "#/definitions/" + path}};
}

bool isTable(std::string_view path) {
    for (Key const& key : scenarioKeys()) {
        if (key.table == path) return true;
    }
    return false;
}

Json wordsOf(Key const& key) {
    Json words = Json::array();
    std::istringstream all{std::string(key.unit)};
    for (std::string word; all >> word;) words.push_back(word);
    return {{"enum", words}};
}

// A table whose keys are sensors.
Json bySensor(Json each) {
    return {{"type", "object"}, {"additionalProperties", std::move(each)}};
}

Json tableOf(Key const& key) {
    std::string const path = pathOf(key);
    if (path == "client.steps.change") return bySensor(refersTo("sensor.changes"));
    if (path == "client.steps.change_board") return refersTo("board.changes");
    return isTable(path) ? refersTo(path) : bySensor({{"type", "boolean"}});
}

Json valueOf(Key const& key) {
    switch (key.type) {
        case Type::Boolean:
            return {{"type", "boolean"}};
        case Type::Integer:
            return inRange(key, "integer");
        case Type::Integers:
            return listOf(inRange(key, "integer"));
        case Type::Number:
            return inRange(key, "number");
        case Type::Time: {
            Json range = listOf(inRange(key, "number"));
            range["minItems"] = range["maxItems"] = 2;
            return oneOf(inRange(key, "number"), std::move(range));
        }
        case Type::Text:
            return textOf(key);
        case Type::Texts:
            return oneOf(textOf(key), listOf(textOf(key)));
        case Type::Choice:
            return isTable(pathOf(key)) ? oneOf(wordsOf(key), refersTo(pathOf(key))) : wordsOf(key);
        case Type::Sensors:
            return listOf({{"type", Json::array({"integer", "string"})}});
        case Type::Table:
            return tableOf(key);
        case Type::Tables: {
            // Steps that are repeated are steps.
            Json list = listOf(refersTo(pathOf(key) == "client.steps.steps" ? "client.steps" : pathOf(key)));
            list["minItems"] = 1;
            return list;
        }
    }
    return true;
}

// What stands in the place of a key, with what the page says of it.
Json propertyOf(Key const& key) {
    Json property = valueOf(key);
    // Beside a reference nothing else counts.
    if (property.contains("$ref")) property = Json{{"allOf", Json::array({std::move(property)})}};
    std::string says(key.says);
    if (key.type != Type::Choice && !key.unit.empty()) says += " (" + std::string(key.unit) + ')';
    property["description"] = says;
    return property;
}

Json definitionOf(std::string_view table, bool changes) {
    Json definition{{"type", "object"}, {"additionalProperties", false}};
    Json properties = Json::object();
    Json required = Json::array();
    for (Key const& key : scenarioKeys()) {
        if (key.table != table || (changes && !key.changes)) continue;
        properties[std::string(key.name)] = propertyOf(key);
        // What a file requires may stand in one that it includes.
        if (key.fallback.empty() && !changes && !table.empty()) required.push_back(key.name);
    }
    definition["properties"] = std::move(properties);
    if (!required.empty()) definition["required"] = std::move(required);
    return definition;
}

}  // namespace

void writeScenarioSchema(std::ostream& out) {
    Json schema{{"$schema", "http://json-schema.org/draft-07/schema#"},
                {"title", "A scenario of zeqcam-power"},
                {"description", "A board, the controllers made on it, and what their clients do."}};
    schema.update(definitionOf("", false));
    Json& definitions = schema["definitions"] = Json::object();
    for (Key const& key : scenarioKeys()) {
        std::string const table(key.table);
        if (!table.empty() && !definitions.contains(table)) definitions[table] = definitionOf(table, false);
    }
    definitions["board.changes"] = definitionOf("board", true);
    definitions["sensor.changes"] = definitionOf("sensor", true);
    out << schema.dump(2) << '\n';
}

}  // namespace zeqcam::tool
