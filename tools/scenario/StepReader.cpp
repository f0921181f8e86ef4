#include "scenario/ClientReader.h"

#include <algorithm>
#include <array>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>

namespace zeqcam::tool {
namespace {

// What a step may expect of its action, besides what the action itself holds.
struct ExpectationKey {
    std::string_view name;
    std::array<std::string_view, 3> actions;  // that may be followed by it; empty: none more
};

constexpr std::array<ExpectationKey, 4> kExpectations{{
    {"expect", {PowerOn::kKey}},
    {"failed", {PowerOn::kKey, PowerOff::kKey, Destroy::kKey}},
    {"reports", {PowerOn::kKey}},
    {"within_ms", {PowerOn::kKey, PowerOff::kKey, Wait::kKey}},
}};

bool isExpectation(std::string_view key) {
    return std::any_of(kExpectations.begin(), kExpectations.end(),
                       [key](ExpectationKey const& each) { return each.name == key; });
}

// Empty when the step holds none, or more than one.
std::string_view actionOf(Fields const& step) {
    std::string_view action;
    for (Key const& key : scenarioKeys()) {
        if (key.table != "client.steps" || isExpectation(key.name) || !step.has(key.name)) continue;
        if (!action.empty()) return {};
        action = key.name;
    }
    return action;
}

void readExpectations(Fields const& fields, std::string_view action, Names const& names, Step& step) {
    for (auto const& [name, actions] : kExpectations) {
        if (!fields.has(name) || std::find(actions.begin(), actions.end(), action) != actions.end()) continue;
        std::string message = "belongs to";
        for (std::string_view const each : actions) {
            if (!each.empty()) message += (each == actions.front() ? " " : " or ") + std::string(each);
        }
        fields.fault(name, std::move(message));
    }
    if (fields.has("within_ms")) step.within = fields.time("within_ms");
    if (fields.has("failed")) step.failed = names.sensors(fields, "failed");
    if (fields.has("reports")) step.reports = static_cast<int>(fields.integer("reports"));
}

std::map<int, bool> expectedStates(Fields const& step, std::string_view action, Names const& names) {
    std::map<int, bool> expected;
    for (auto&& [name, value] : step.table(action)) {
        auto const sensor = names.sensorOfKey(name.str());
        if (!value.is_boolean()) step.faultAt(value, action, "each sensor must be true or false");
        if (!sensor) {
            names.unknown(step, value, action, "no sensor is " + inQuotes(name.str()));
        } else if (!expected.emplace(*sensor, value.value_or(false)).second) {
            step.faultAt(value, action, "names the sensor " + inQuotes(name.str()) + " twice");
        }
    }
    return expected;
}

void mustBeTrue(Fields const& step, std::string_view action) {
    if (!step.boolean(action) && step.node(action)->is_boolean()) step.fault(action, "can only be true");
}

PowerOn powerOn(Fields const& step, Names const& names) {
    return {names.sensors(step, "power_on"),
            step.has("expect") ? std::optional(step.boolean("expect")) : std::nullopt};
}

decltype(Step::action) readAction(Fields const& fields, std::string_view action, Names const& names) {
    if (action == PowerOn::kKey) return powerOn(fields, names);
    if (action == PowerOff::kKey) return PowerOff{names.sensors(fields, action)};
    if (action == Status::kKey) return Status{expectedStates(fields, action, names)};
    if (action == Powered::kKey) return Powered{expectedStates(fields, action, names)};
    if (action == Sleep::kKey) return Sleep{fields.time(action)};
    mustBeTrue(fields, action);
    if (action == Destroy::kKey) return Destroy{};
    return Wait{};
}

Step readStep(Fields const& fields, int line, Names const& names) {
    Step step{.line = line, .action = Wait{}};
    std::string_view const action = actionOf(fields);
    if (action.empty()) {
        fields.fault("must hold exactly one action");
        return step;
    }
    step.action = readAction(fields, action, names);
    readExpectations(fields, action, names, step);
    return step;
}

}  // namespace

std::vector<Step> readSteps(Fields const& fields, Names const& names) {
    std::vector<Step> steps;
    for (auto const* const table : fields.tables("steps")) {
        Fields const step = fields.inner("client.steps", *table);
        steps.push_back(readStep(step, lineOf(table->source()), names));
    }
    return steps;
}

}  // namespace zeqcam::tool
