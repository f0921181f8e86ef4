#include "views/Report.h"

#include "analysis/Outcomes.h"
#include "analysis/Pending.h"
#include "analysis/SensorTimes.h"
#include "rules/Verdict.h"
#include "text/Printable.h"
#include "text/TimeText.h"
#include "views/FailureText.h"
#include "views/RequestText.h"
#include "views/StandingText.h"
#include "views/Table.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace zeqcam::tool {
namespace {

std::string namesOf(Record const& record, std::vector<int> const& sensors) {
    std::string names;
    for (int const sensor : sensors) {
        if (!names.empty()) names += ' ';
        names += printable(record.nameOfSensor(sensor));
    }
    return names.empty() ? "-" : names;
}

bool isUnmet(Expectation const& expectation) {
    return expectation.state != Expectation::State::Held;
}

// "true, tele failed": what the interface says, and what the board knows.
std::string resultOf(Record const& record, Request const& request, Outcome const& outcome) {
    // Evidence may lack the end of what has ended.
    std::string text = request.ended || record.cutOff ? resultText(request) : "end unknown";
    if (!outcome.failedSensors.empty()) text += ", " + namesOf(record, outcome.failedSensors) + " failed";
    return text;
}

// Of evidence, where each request begins in it: "12", or "2:12" of its second file.
std::vector<std::string> placesOf(Record const& record) {
    std::vector<std::string> places(record.requests.size());
    for (Event const& event : record.events) {
        if (event.kind != board::Kind::Request || !event.request || event.place.number == 0) continue;
        bool const isOnly = record.files.size() == 1;
        places[*event.request] =
            (isOnly ? "" : std::to_string(event.place.file + 1) + ':') + std::to_string(event.place.number);
    }
    return places;
}

Table requestsOf(Record const& record) {
    auto const places = placesOf(record);
    bool const hasPlaces =
        std::any_of(places.begin(), places.end(), [](std::string const& place) { return !place.empty(); });
    std::vector<Table::Column> columns{{"CLIENT"},
                                       {"REQUEST"},
                                       {"SENSORS"},
                                       {"RESULT"},
                                       {"WALL", Align::Right},
                                       {"SLOWEST", Align::Right},
                                       {"IN TURN", Align::Right}};
    if (hasPlaces) columns.push_back({"LINE", Align::Right});
    Table table(std::move(columns));
    std::vector<bool> unmet(record.requests.size());
    for (Expectation const& expectation : record.expectations) {
        if (isUnmet(expectation) && expectation.request) unmet[*expectation.request] = true;
    }
    auto const times = sensorTimes(record);
    auto const outcomes = outcomesOf(record);
    for (std::size_t i = 0; i < record.requests.size(); ++i) {
        Request const& request = record.requests[i];
        bool const called = times[i].calls > 0;
        std::vector<std::string> cells{printable(record.nameOfClient(request.client)),
                                       printable(record.textOf(request.name)),
                                       namesOf(record, sensorsOf(request)),
                                       resultOf(record, request, outcomes[i]),
                                       millisecondsText(request.ended.value_or(record.end) - request.began),
                                       called ? millisecondsText(times[i].slowest) : "-",
                                       called ? millisecondsText(times[i].oneAfterAnother) : "-"};
        if (hasPlaces) cells.push_back(places[i]);
        table.add(std::move(cells), unmet[i] || !request.ended || !outcomes[i].isClean());
    }
    return table;
}

// What each controller that may drive the sensor counts it as.
std::string countedBy(Record const& record, int sensor) {
    using End = Record::Controller::End;
    std::string text;
    for (Record::Controller const& controller : record.controllers) {
        auto const& drives = controller.sensors;
        if (std::find(drives.begin(), drives.end(), sensor) == drives.end() || controller.end == End::Unknown)
            continue;
        if (!text.empty()) text += ", ";
        text += printable(record.textOf(controller.name)) + (controller.end == End::Destroyed ? " destroyed"
                                                             : controller.counts.at(sensor)   ? " on"
                                                                                              : " off");
    }
    return text.empty() ? "-" : text;
}

Table statesOf(Record const& record) {
    Table table({{"ID", Align::Right}, {"SENSOR"}, {"POWER"}, {"CONTROLLERS"}});
    for (auto const& [id, name, powered] : record.sensors) {
        table.add({std::to_string(id), printable(record.textOf(name)),
                   !powered   ? "-"
                   : *powered ? "on"
                              : "off",
                   countedBy(record, id)});
    }
    return table;
}

std::string expectationsOf(Record const& record, Ink ink) {
    std::string text;
    for (Expectation const& expectation : record.expectations) {
        if (!isUnmet(expectation)) continue;
        text += ink.red(fmt::format("{}:{}: {}: {}: {}", printable(record.files.front()), expectation.line,
                                    printable(record.nameOfClient(expectation.client)),
                                    nameOf(expectation.step), printable(record.textOf(expectation.unmet)))) +
                '\n';
    }
    if (record.expectations.empty() && record.files.empty()) return {};  // it is of no scenario
    auto const held =
        std::count_if(record.expectations.begin(), record.expectations.end(),
                      [](Expectation const& each) { return each.state == Expectation::State::Held; });
    // What no scenario was played for expects nothing.
    if (!record.seed && record.expectations.empty()) return text;
    return text + fmt::format("{} of {} expectations held\n", held, record.expectations.size());
}

std::string failuresOf(Record const& record, Ink ink) {
    auto const lines = failureLines(record);
    if (lines.empty()) return {};
    // A phone's files tell what they show; a board, what it answered.
    bool const isRun = record.seed || !record.expectations.empty();
    std::string text = ink.bold(isRun ? "What the board saw go wrong" : "What went wrong") + '\n';
    for (std::string const& line : lines) text += ink.red("  " + printable(line)) + '\n';
    return text + '\n';
}

// Of evidence, where the event stands that broke the rule: " (camera.log:12)".
std::string placeText(Record const& record, Breach const& breach) {
    if (breach.events.empty()) return {};
    Place const place = record.events[breach.events.back()].place;
    return place.number == 0 ? ""
                             : fmt::format(" ({}:{})", printable(record.files[place.file]), place.number);
}

// "broken", or "warning" where the run does not fail for it.
std::string brokenRulesText(Record const& record, Strictness const& strictness, Ink ink) {
    std::string text;
    for (BrokenRule const& broken : brokenRulesOf(record, strictness)) {
        std::string const line =
            fmt::format("{} {}: {}: {}{}", broken.isWarning ? "warning:" : "broken rule", broken.rule->name,
                        timeText(broken.time - record.begin),
                        broken.client ? printable(record.nameOfClient(*broken.client)) + ": " : "",
                        printable(broken.breach.text) + placeText(record, broken.breach));
        text += (broken.isWarning ? line : ink.red(line)) + '\n';
    }
    return text;
}

}  // namespace

void writeReport(Record const& record, Presentation const& presentation, std::ostream& out) {
    Ink const ink{presentation.colours};
    if (!record.requests.empty()) {
        out << '\n'
            << ink.bold("Requests, times in milliseconds") << '\n'
            << requestsOf(record).text(ink, presentation.columns);
    }
    out << '\n' << ink.bold("Sensors at the end") << '\n' << statesOf(record).text(ink, presentation.columns);
    std::string judged = failuresOf(record, ink) + brokenRulesText(record, presentation.strictness, ink) +
                         expectationsOf(record, ink);
    // A blank line stands between two things: what comes behind the report brings its own.
    if (judged.ends_with("\n\n")) judged.pop_back();
    out << (judged.empty() ? "" : "\n") << judged;
}

void writePending(Record const& record, std::ostream& out) {
    for (std::string const& line : standingLines(record, standingsOf(record)))
        out << "  " << printable(line) << '\n';
    for (auto const& [thread, in] : pendingIn(record, timelineOf(record))) {
        std::string_view separator = ": in ";
        out << "  " << printable(thread);
        for (auto const& [label, since] : in) {
            out << std::exchange(separator, ", in ") << '"' << printable(label) << "\" for "
                << timeText(record.end - since);
        }
        out << '\n';
    }
}

}  // namespace zeqcam::tool
