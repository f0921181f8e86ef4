#include "scenario/BoardReader.h"
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

bool isBesides(std::string_view key) {
    return key == "steps" || std::any_of(kExpectations.begin(), kExpectations.end(),
                                         [key](ExpectationKey const& each) { return each.name == key; });
}

// Empty when the step holds none, or more than one.
std::string_view actionOf(Fields const& step) {
    std::string_view action;
    for (Key const& key : scenarioKeys()) {
        if (key.table != "client.steps" || isBesides(key.name) || !step.has(key.name)) continue;
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

// What the step changes of each sensor that it names.
Change change(Fields const& step, Names const& names) {
    std::map<int, Edit<board::Sensor>> edits;
    for (auto&& [name, value] : step.table("change")) {
        auto const sensor = names.sensorOfKey(name.str());
        if (!sensor) names.unknown(step, value, "change", "no sensor is " + inQuotes(name.str()));
        if (!value.is_table()) {
            step.faultAt(value, "change", "each sensor must be a table");
            continue;
        }
        auto edit = readSensorChange(step.inner("sensor", *value.as_table(), Says::Changes), names);
        if (sensor && !edits.emplace(*sensor, std::move(edit)).second)
            step.faultAt(value, "change", "names the sensor " + inQuotes(name.str()) + " twice");
    }
    return {[edits](board::Settings& settings) {
        for (auto const& [sensor, edit] : edits) edit(settings.sensors.at(sensor));
    }};
}

Change changeBoard(Fields const& step) {
    Fields const fields = step.inner("board", step.table("change_board"), Says::Changes);
    auto const* const queue = fields.node("queue");
    // A queue is there or not from the begin of its controller on.
    if (queue && queue->value_or(std::string_view()) == "missing")
        fields.fault("queue", "cannot be changed to \"missing\": the queues are made by then");
    return {readBoard(fields)};
}

decltype(Step::action) readAction(Fields const& fields, std::string_view action, Names const& names) {
    if (action == PowerOn::kKey) return powerOn(fields, names);
    if (action == PowerOff::kKey) return PowerOff{names.sensors(fields, action)};
    if (action == Status::kKey) return Status{expectedStates(fields, action, names)};
    if (action == Powered::kKey) return Powered{expectedStates(fields, action, names)};
    if (action == Sleep::kKey) return Sleep{fields.time(action)};
    if (action == Signal::kKey) return Signal{fields.text(action)};
    if (action == Await::kKey) return Await{fields.text(action)};
    if (action == Change::kKey) return change(fields, names);
    if (action == "change_board") return changeBoard(fields);
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

void addRepeated(Fields const& fields, Names const& names, std::vector<Step>& steps) {
    if (actionOf(fields) != "repeat") fields.fault("must hold exactly one action");
    Step none;
    readExpectations(fields, "repeat", names, none);
    auto const times = static_cast<std::size_t>(fields.integer("repeat"));
    std::vector<Step> const once = readSteps(fields, names);
    auto const most = static_cast<std::size_t>(kMostStepsOfClient);
    // One more than may be is enough to be refused.
    for (std::size_t i = 0; i < times && steps.size() <= most; ++i)
        steps.insert(steps.end(), once.begin(), once.end());
}

}  // namespace

std::vector<Step> readSteps(Fields const& fields, Names const& names) {
    std::vector<Step> steps;
    for (auto const* const table : fields.tables("steps")) {
        Fields const step = fields.inner("client.steps", *table);
        bool const isRepeat = step.has("repeat");
        if (step.has("steps") != isRepeat) {
            step.fault("repeat and steps belong together");
        } else if (isRepeat) {
            addRepeated(step, names, steps);
        } else {
            steps.push_back(readStep(step, lineOf(table->source()), names));
        }
        if (steps.size() > static_cast<std::size_t>(kMostStepsOfClient)) {
            step.fault("the client has more than " + std::to_string(kMostStepsOfClient) + " steps by here");
            return {};
        }
    }
    return steps;
}

}  // namespace zeqcam::tool
