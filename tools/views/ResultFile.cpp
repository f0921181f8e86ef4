#include "views/ResultFile.h"

#include "analysis/Outcomes.h"
#include "analysis/Pending.h"
#include "analysis/SensorTimes.h"
#include "analysis/Standings.h"
#include "rules/Verdict.h"
#include "text/JsonText.h"
#include "text/TimeText.h"
#include "views/RequestText.h"
#include "views/StandingText.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace zeqcam::tool {
namespace {

using nlohmann::ordered_json;
using std::chrono::microseconds;

// Of the results' form: grows when a program that reads them must change.
constexpr int kResultForm = 2;

template <class Number>
ordered_json orNull(OptionalNumber<Number> number) {
    return number ? ordered_json(*number) : ordered_json();
}

// Each power change that failed, and why, where the sensor's device told.
ordered_json failuresOf(Record const& record, Outcome const& outcome) {
    ordered_json failures = ordered_json::array();
    for (std::uint32_t const index : outcome.failures) {
        Event const& event = record.events[index];
        std::string_view const why = record.textOf(event.detail);
        failures.push_back({{"sensor", *event.sensor},
                            {"call", event.kind == board::Kind::SensorPowerOnDone ? "power on" : "power off"},
                            {"at_ms", millisecondsOf(event.time - record.begin)},
                            {"reason", why.empty() ? ordered_json() : ordered_json(why)}});
    }
    return failures;
}

ordered_json servicesOf(Record const& record, Outcome const& outcome) {
    using board::Kind;
    ordered_json services = ordered_json::array();
    for (std::uint32_t const index : outcome.services) {
        Event const& event = record.events[index];
        bool const is3A = event.kind == Kind::Hal3APowerOn || event.kind == Kind::Hal3APowerOff;
        bool const isOn = event.kind == Kind::Hal3APowerOn || event.kind == Kind::PeripheralPowerOn;
        services.push_back({{"sensor", event.sensor ? ordered_json(*event.sensor) : ordered_json()},
                            {"service", is3A ? "hal3a" : "peripheral"},
                            {"call", isOn ? "power on" : "power off"},
                            {"status", event.number.value_or(0)}});
    }
    return services;
}

ordered_json reportsOf(Record const& record, Outcome const& outcome) {
    ordered_json reports = ordered_json::array();
    for (std::uint32_t const index : outcome.reports)
        reports.push_back(record.textOf(record.events[index].shown));
    return reports;
}

ordered_json sensorsOrNull(Request const& request) {
    bool const asks = request.kind == RequestKind::Status || request.kind == RequestKind::Powered;
    bool const isKnown = asks || request.sensors.has_value();
    return isKnown ? ordered_json(sensorsOf(request)) : ordered_json();
}

// Where an event stands in what was read; null: nowhere.
ordered_json placeOf(Record const& record, Place place) {
    if (place.number == 0) return {};
    return {{"file", record.files[place.file]}, {"number", place.number}};
}

// Of evidence, where each request begins in it.
void addPlaces(Record const& record, ordered_json& requests) {
    for (Event const& event : record.events) {
        if (event.kind != board::Kind::Request || !event.request || event.place.number == 0) continue;
        requests[*event.request]["place"] = placeOf(record, event.place);
    }
}

ordered_json requestList(Record const& record) {
    auto const times = sensorTimes(record);
    auto const outcomes = outcomesOf(record);
    ordered_json requests = ordered_json::array();
    for (std::size_t i = 0; i < record.requests.size(); ++i) {
        Request const& request = record.requests[i];
        bool const called = times[i].calls > 0;
        auto const wall = request.ended.value_or(record.end) - request.began;
        requests.push_back(
            {{"line", orNull(request.line)},
             {"client", record.nameOfClient(request.client)},
             {"request", record.textOf(request.name)},
             {"sensors", sensorsOrNull(request)},
             {"ended", request.ended.has_value()},
             {"result", request.result ? ordered_json(*request.result) : ordered_json()},
             {"failed_sensors", outcomes[i].failedSensors},
             {"failures", failuresOf(record, outcomes[i])},
             {"refusals", servicesOf(record, outcomes[i])},
             {"exception_reports", reportsOf(record, outcomes[i])},
             {"began_ms", millisecondsOf(request.began - record.requests.front().began)},
             {"wall_ms", millisecondsOf(floor<microseconds>(wall))},
             {"slowest_ms", called ? ordered_json(millisecondsOf(times[i].slowest)) : ordered_json()},
             {"in_turn_ms",
              called ? ordered_json(millisecondsOf(times[i].oneAfterAnother)) : ordered_json()}});
    }
    addPlaces(record, requests);
    return requests;
}

ordered_json unmetOf(Record const& record) {
    ordered_json unmet = ordered_json::array();
    for (Expectation const& each : record.expectations) {
        if (each.state == Expectation::State::Held) continue;
        unmet.push_back({{"line", each.line},
                         {"client", record.nameOfClient(each.client)},
                         {"request", nameOf(each.step)},
                         {"reached", each.state != Expectation::State::NotReached},
                         {"reason", record.textOf(each.unmet)}});
    }
    return unmet;
}

ordered_json brokenRulesIn(Record const& record, Strictness const& strictness) {
    ordered_json all = ordered_json::array();
    for (BrokenRule const& each : brokenRulesOf(record, strictness)) {
        all.push_back(
            {{"rule", each.rule->name},
             {"of", each.rule->of == Rule::Of::Sequence ? "sequence" : "clients"},
             {"warning", each.isWarning},
             {"line", orNull(each.line)},
             {"client", each.client ? ordered_json(record.nameOfClient(*each.client)) : ordered_json()},
             {"sensors", each.sensors},
             {"at_ms", millisecondsOf(each.time - record.begin)},
             {"reason", each.breach.text}});
        if (each.breach.events.empty()) continue;
        Place const place = record.events[each.breach.events.back()].place;
        if (place.number > 0) all.back()["place"] = placeOf(record, place);
    }
    return all;
}

ordered_json callerFaultsOf(Record const& record) {
    ordered_json faults = ordered_json::array();
    for (CallerFault const& each : record.callerFaults) {
        faults.push_back(
            {{"sensor", each.sensor ? ordered_json(*each.sensor) : ordered_json()},
             {"at_ms", each.time ? ordered_json(millisecondsOf(*each.time - record.begin)) : ordered_json()},
             {"fault", record.textOf(each.text)}});
    }
    return faults;
}

// What each controller that may drive the sensor counts it as; null: destroyed.
ordered_json controllersOf(Record const& record, int sensor) {
    using End = Record::Controller::End;
    ordered_json counted = ordered_json::object();
    for (Record::Controller const& controller : record.controllers) {
        auto const& drives = controller.sensors;
        if (std::find(drives.begin(), drives.end(), sensor) == drives.end()) continue;
        bool const isHeld = controller.end == End::Held;
        counted[std::string(record.textOf(controller.name))] =
            isHeld ? ordered_json(controller.counts.at(sensor)) : ordered_json();
    }
    return counted;
}

ordered_json sensorsOf(Record const& record) {
    ordered_json sensors = ordered_json::array();
    for (auto const& [id, name, powered] : record.sensors) {
        sensors.push_back({{"id", id},
                           {"name", record.textOf(name)},
                           {"powered", powered ? ordered_json(*powered) : ordered_json()},
                           {"controllers", controllersOf(record, id)}});
    }
    return sensors;
}

std::string_view wordFor(Standing::In in) {
    switch (in) {
        case Standing::In::SensorCall:
            return "sensor";
        case Standing::In::LockWait:
            return "lock";
        case Standing::In::ControllerWait:
            return "controller";
        case Standing::In::Sleep:
            return "sleep";
        case Standing::In::Other:
            return "request";
    }
    return "?";
}

// The request that keeps what it waits for.
OptionalNumber<std::uint32_t> holderOf(Standing const& standing) {
    if (standing.in == Standing::In::ControllerWait) return standing.busyWith;
    if (standing.in == Standing::In::LockWait && standing.lock) return standing.lock->request;
    return {};
}

// What each client's request that had not ended waited for, and for whom, by the client's name.
std::map<std::string_view, ordered_json> waitsOf(Record const& record) {
    std::map<std::string_view, ordered_json> waits;
    auto const standings = standingsOf(record);
    auto const lines = standingLines(record, standings);
    auto const clientOf = [&record](std::uint32_t request) {
        return record.nameOfClient(record.requests[request].client);
    };
    for (std::size_t i = 0; i < standings.size(); ++i) {
        Standing const& each = standings[i];
        auto const holder = holderOf(each);
        waits[clientOf(each.request)] = {
            {"for", wordFor(each.in)},
            {"sensor", each.in == Standing::In::SensorCall ? ordered_json(each.sensor) : ordered_json()},
            {"holder", holder ? ordered_json(clientOf(*holder)) : ordered_json()},
            {"for_ms", millisecondsOf(record.end - each.since)},
            {"text", lines[i]}};
    }
    return waits;
}

// What the threads of a run that was cut off were in, and who of them waited for whom.
ordered_json pendingOf(Record const& record) {
    ordered_json threads = ordered_json::array();
    if (!record.cutOff) return threads;
    auto const waits = waitsOf(record);
    for (auto const& [thread, all] : pendingIn(record, timelineOf(record))) {
        ordered_json in = ordered_json::array();
        for (auto const& [label, since] : all) {
            in.push_back({{"label", label}, {"for_ms", millisecondsOf(record.end - since)}});
        }
        auto const found = waits.find(thread);
        threads.push_back({{"thread", thread},
                           {"in", std::move(in)},
                           {"waits", found != waits.end() ? found->second : ordered_json()}});
    }
    return threads;
}

}  // namespace

ordered_json resultOf(Record const& record, Strictness const& strictness) {
    return {{"form", kResultForm},
            {"file", record.files.front()},
            {"seed", record.seed ? ordered_json(*record.seed) : ordered_json()},
            {"verdict", nameOf(verdictOn(record, strictness))},
            {"cut_off", record.cutOff ? ordered_json(*record.cutOff) : ordered_json()},
            {"clock", nameOf(record.clock)},
            {"duration_ms", millisecondsOf(record.end - record.begin)},
            {"expectations", record.expectations.size()},
            {"unmet", unmetOf(record)},
            {"broken_rules", brokenRulesIn(record, strictness)},
            {"caller_faults", callerFaultsOf(record)},
            {"requests", requestList(record)},
            {"sensors", sensorsOf(record)},
            {"pending", pendingOf(record)}};
}

void writeResult(Record const& record, Presentation const& presentation, std::ostream& out) {
    out << jsonText(resultOf(record, presentation.strictness), 2) << '\n';
}

}  // namespace zeqcam::tool
