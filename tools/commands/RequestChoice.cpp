#include "commands/RequestChoice.h"

#include "files/OutputFile.h"
#include "text/TimeText.h"
#include "views/ChainText.h"
#include "views/RequestText.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <chrono>

namespace zeqcam::tool {

void RequestChoice::add(CLI::App& app) {
    constexpr double kMostMs = 1e9;
    auto const names = [&app](char const* name, std::vector<std::string>& value, char const* help) {
        app.add_option(name, value, help)->type_name("NAME")->allow_extra_args(false);
    };
    auto const time = [&app](char const* name, std::optional<double>& value, char const* help) {
        app.add_option(name, value, help)->type_name("MS")->check(CLI::Range(0.0, kMostMs).description(""));
    };
    names("--request", requests, "Tell of this request only, by its name or a part of it; may be repeated.");
    names("--client", clients, "Tell of this client's requests only; may be repeated.");
    names("--sensor", sensors, "Tell of requests for this sensor only; may be repeated.");
    time("--from", fromMs, "Tell of requests that end after this time, in milliseconds.");
    time("--to", toMs, "Tell of requests that begin before this time, in milliseconds.");
}

bool RequestChoice::matches(std::vector<std::string> const& names, std::string const& text, bool isPart) {
    bool isAny = names.empty();
    for (std::string const& name : names) {
        if (isPart ? text.find(name) == std::string::npos : text != name) continue;
        mFound.insert(name);
        isAny = true;
    }
    return isAny;
}

bool RequestChoice::has(Record const& record, Chain const& chain, Instant begin) {
    Request const& request = record.requests[chain.request];
    std::string const client(record.textOf(record.clients[request.client].name));
    bool const isOfClient = matches(clients, client, false);
    bool const isNamed = matches(requests, client + ": " + requestPhrase(record, request), true);
    bool isOfSensor = sensors.empty();
    for (int const sensor : sensorsOf(request)) {
        bool const byName = matches(sensors, record.nameOfSensor(sensor), false);
        isOfSensor = matches(sensors, std::to_string(sensor), false) || byName || isOfSensor;
    }
    auto const at = [begin](Instant time) { return millisecondsOf(time - begin); };
    bool const isWithin =
        at(chain.end) >= fromMs.value_or(at(chain.end)) && at(chain.begin) <= toMs.value_or(at(chain.begin));
    return isOfClient && isNamed && isOfSensor && isWithin;
}

void RequestChoice::requireFound() const {
    auto const require = [this](char const* option, char const* what, std::vector<std::string> const& names) {
        for (std::string const& name : names) {
            if (!mFound.contains(name))
                throw CannotOpen(fmt::format("{}: there is no {} {}", option, what, name));
        }
    };
    require("--request", "request", requests);
    require("--client", "client", clients);
    require("--sensor", "sensor", sensors);
}

}  // namespace zeqcam::tool
