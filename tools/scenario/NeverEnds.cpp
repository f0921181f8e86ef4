#include "scenario/NeverEnds.h"

#include <algorithm>
#include <map>
#include <set>
#include <string>
#include <variant>

namespace zeqcam::tool {
namespace {

using Counts = std::map<std::string, int>;

// A client on its way through its steps.
struct Way {
    std::vector<Step> const& steps;
    std::size_t next = 0;
    Counts awaited;

    [[nodiscard]] Step const* step() const { return next < steps.size() ? &steps[next] : nullptr; }
};

// Goes as far as the signals given so far allow. Whether that was a step at least.
bool advance(Way& way, Counts& given) {
    std::size_t const from = way.next;
    for (; way.step(); ++way.next) {
        auto const& action = way.step()->action;
        if (auto const* const signal = std::get_if<Signal>(&action)) ++given[signal->name];
        auto const* const await = std::get_if<Await>(&action);
        if (!await) continue;
        if (given[await->name] <= way.awaited[await->name]) break;
        ++way.awaited[await->name];
    }
    return way.next > from;
}

int timesIn(Scenario const& scenario, std::string const& signal) {
    int times = 0;
    for (Client const& client : scenario.clients) {
        for (Step const& step : client.steps) {
            auto const* const given = std::get_if<Signal>(&step.action);
            if (given && given->name == signal) ++times;
        }
    }
    return times;
}

// Signals are only ever given, never taken back: who can go on at all can go on in every run, and those that
// are left where nobody can are left there in every run.
void findAwaits(Scenario const& scenario, std::vector<Fault>& faults) {
    std::vector<Way> ways;
    for (Client const& client : scenario.clients) ways.push_back({client.steps, 0, {}});
    Counts given;
    for (bool moved = true; moved;) {
        moved = false;
        for (Way& way : ways) moved = advance(way, given) || moved;
    }
    for (Way const& way : ways) {
        if (!way.step()) continue;
        std::string const& name = std::get<Await>(way.step()->action).name;
        int const times = timesIn(scenario, name);
        int const needed = way.awaited.at(name) + 1;
        std::string why = "nobody gives the signal \"" + name + '"';
        if (times > 0)
            why = "the signal \"" + name + "\" is given " + std::to_string(times) + " times, awaited " +
                  std::to_string(needed) + " times by here";
        if (times >= needed) why = "the signal \"" + name + "\" is given only by who waits for this client";
        faults.push_back({way.step()->line, "client.steps.await", why + ": the wait never ends"});
    }
}

template <class Action>
bool has(Client const& client) {
    return std::any_of(client.steps.begin(), client.steps.end(),
                       [](Step const& step) { return std::holds_alternative<Action>(step.action); });
}

// Whether nobody but the client takes the power-on lock, or frees it for the client.
bool isAloneWithTheLock(Scenario const& scenario, Client const& client) {
    return std::all_of(scenario.clients.begin(), scenario.clients.end(), [&](Client const& other) {
        bool const shares = other.controller == client.controller;
        return &other == &client ||
               (!has<PowerOn>(other) && !(shares && (has<PowerOff>(other) || has<Destroy>(other))));
    });
}

// The sensors that the client's controller may drive.
std::set<int> driven(Scenario const& scenario, Client const& client) {
    for (Controller const& each : scenario.controllers) {
        if (each.name == client.controller) return {each.sensors.begin(), each.sensors.end()};
    }
    return {};
}

void findWaits(Scenario const& scenario, Client const& client, std::vector<Fault>& faults) {
    if (!isAloneWithTheLock(scenario, client)) return;
    bool const isLast =
        std::count_if(scenario.clients.begin(), scenario.clients.end(),
                      [&](auto const& other) { return other.controller == client.controller; }) == 1;
    std::set<int> const may = driven(scenario, client);
    std::map<int, int> onSince;  // the lines of the power-ons
    for (Step const& step : client.steps) {
        if (auto const* const on = std::get_if<PowerOn>(&step.action)) {
            for (int const sensor : on->sensors) {
                if (may.contains(sensor)) onSince.emplace(sensor, step.line);
            }
        } else if (auto const* const off = std::get_if<PowerOff>(&step.action)) {
            for (int const sensor : off->sensors) onSince.erase(sensor);
        } else if (std::holds_alternative<Destroy>(step.action) && isLast) {
            onSince.clear();
        } else if (std::holds_alternative<Wait>(step.action) && !onSince.empty()) {
            int const line = onSince.begin()->second;
            faults.push_back({step.line, "client.steps.wait",
                              "the client itself holds the power-on lock since line " + std::to_string(line) +
                                  ", and no other powers off: the wait never ends"});
            return;
        }
    }
}

}  // namespace

std::vector<Fault> neverEnding(Scenario const& scenario) {
    std::vector<Fault> faults;
    findAwaits(scenario, faults);
    for (Client const& client : scenario.clients) findWaits(scenario, client, faults);
    std::stable_sort(faults.begin(), faults.end(),
                     [](Fault const& left, Fault const& right) { return left.line < right.line; });
    return faults;
}

}  // namespace zeqcam::tool
