#include "run/Expectations.h"

#include "analysis/Outcomes.h"
#include "text/TimeText.h"

#include <algorithm>
#include <cstddef>
#include <map>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <variant>

namespace zeqcam::tool {
namespace {

char const* trueOrFalse(bool value) {
    return value ? "true" : "false";
}

char const* onOrOff(bool on) {
    return on ? "on" : "off";
}

// Sensors that one who writes the file knows by name.
std::string namesOf(Record const& record, std::vector<int> const& sensors) {
    std::string names;
    for (int const sensor : sensors) {
        if (!names.empty()) names += ", ";
        names += record.nameOfSensor(sensor);
    }
    return names.empty() ? "none" : names;
}

std::string joined(std::vector<std::string> const& parts) {
    std::string text;
    for (std::string const& part : parts) text += (text.empty() ? "" : "; ") + part;
    return text;
}

std::vector<int> sortedOnce(std::vector<int> sensors) {
    std::sort(sensors.begin(), sensors.end());
    sensors.erase(std::unique(sensors.begin(), sensors.end()), sensors.end());
    return sensors;
}

std::optional<bool> expectedResult(Step const& step) {
    auto const* const powerOn = std::get_if<PowerOn>(&step.action);
    return powerOn ? powerOn->expect : std::nullopt;
}

// Of a status of the controller, or of what the board powers.
std::map<int, bool> const& expectedStates(Step const& step) {
    static std::map<int, bool> const none;
    if (auto const* const status = std::get_if<Status>(&step.action)) return status->expect;
    if (auto const* const powered = std::get_if<Powered>(&step.action)) return powered->expect;
    return none;
}

RequestKind kindOf(Step const& step) {
    return std::visit(
        [](auto const& action) {
            using Action = std::decay_t<decltype(action)>;
            if constexpr (std::is_same_v<Action, PowerOn>) return RequestKind::PowerOn;
            if constexpr (std::is_same_v<Action, PowerOff>) return RequestKind::PowerOff;
            if constexpr (std::is_same_v<Action, Status>) return RequestKind::Status;
            if constexpr (std::is_same_v<Action, Powered>) return RequestKind::Powered;
            if constexpr (std::is_same_v<Action, Sleep>) return RequestKind::Sleep;
            if constexpr (std::is_same_v<Action, Wait>) return RequestKind::Wait;
            if constexpr (std::is_same_v<Action, Destroy>) return RequestKind::Destroy;
            return RequestKind::Other;
        },
        step.action);
}

// "the result true; main on", empty when the file expects nothing of the step.
std::string wantedText(Record const& record, Step const& step) {
    std::vector<std::string> parts;
    if (auto const result = expectedResult(step))
        parts.push_back(std::string("the result ") + trueOrFalse(*result));
    for (auto const& [sensor, on] : expectedStates(step))
        parts.push_back(record.nameOfSensor(sensor) + ' ' + onOrOff(on));
    if (step.failed) parts.push_back("the failed sensors " + namesOf(record, *step.failed));
    if (step.reports) parts.push_back(std::to_string(*step.reports) + " exception reports");
    if (step.within) parts.push_back("an end within " + timeText(*step.within));
    return joined(parts);
}

// In what the request fell short of its step; none when all came.
std::vector<std::string> shortfalls(Record const& record, Request const& request, Outcome const& outcome,
                                    Step const& step) {
    std::vector<std::string> parts;
    auto const result = expectedResult(step);
    if (result && request.result != result) {
        parts.push_back(std::string("the result is ") + trueOrFalse(!*result) + ", expected " +
                        trueOrFalse(*result));
    }
    for (auto const& [sensor, expected] : expectedStates(step)) {
        auto const& on = *request.countedOn;
        bool const isOn = std::find(on.begin(), on.end(), sensor) != on.end();
        auto const& drives = record.controllers[*record.clients[request.client].controller].sensors;
        bool const isOthers = request.kind == RequestKind::Status &&
                              std::find(drives.begin(), drives.end(), sensor) == drives.end();
        if (isOn == expected && !isOthers) continue;
        parts.push_back(record.nameOfSensor(sensor) + " is " +
                        (isOthers ? "not the controller's" : onOrOff(isOn)) + ", expected " +
                        onOrOff(expected));
    }
    auto const failed = sortedOnce(step.failed.value_or(std::vector<int>()));
    if (failed != outcome.failedSensors) {
        parts.push_back("the failed sensors are " + namesOf(record, outcome.failedSensors) + ", expected " +
                        namesOf(record, failed));
    }
    auto const reports = outcome.reports.size();
    if (step.reports && static_cast<std::size_t>(*step.reports) != reports) {
        parts.push_back("the exception reports are " + std::to_string(reports) + ", expected " +
                        std::to_string(*step.reports));
    }
    auto const took = *request.ended - request.began;
    if (step.within && took > *step.within)
        parts.push_back("took " + timeText(took) + ", expected within " + timeText(*step.within));
    return parts;
}

}  // namespace

void addExpectations(Record& record, std::vector<Step const*> const& begun) {
    auto const outcomes = outcomesOf(record);
    for (std::uint32_t index = 0; index < begun.size(); ++index) {
        Request const& request = record.requests[index];
        Step const& step = *begun[index];
        std::string const wanted = wantedText(record, step);
        std::string unmet;
        if (request.ended) {
            unmet = joined(shortfalls(record, request, outcomes[index], step));
        } else if (!wanted.empty()) {
            unmet = "has not ended, expected " + wanted;
        }
        if (wanted.empty() && unmet.empty()) continue;
        record.expectations.push_back(
            {.line = step.line,
             .client = request.client,
             .request = index,
             .step = kindOf(step),
             .state = unmet.empty() ? Expectation::State::Held : Expectation::State::Unmet,
             .unmet = record.texts.add(unmet)});
    }
}

void addNotReached(Record& record, std::uint32_t client, Step const& step) {
    std::string const wanted = wantedText(record, step);
    if (wanted.empty()) return;
    record.expectations.push_back({.line = step.line,
                                   .client = client,
                                   .step = kindOf(step),
                                   .unmet = record.texts.add("was never reached, expected " + wanted)});
}

}  // namespace zeqcam::tool
