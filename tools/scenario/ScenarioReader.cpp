#include "scenario/ScenarioReader.h"

#include "scenario/BoardReader.h"
#include "scenario/ClientReader.h"
#include "scenario/Fields.h"
#include "scenario/Names.h"
#include "scenario/Settings.h"
#include "scenario/Sources.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace zeqcam::tool {
namespace {

// The tables of each sensor: what one file says of a sensor stands before what a file that it includes says
// of the same. A sensor that one file defines twice is two.
std::vector<Tables> bySensor(Tables const& tables) {
    std::vector<Tables> sensors;
    for (auto const* const table : tables) {
        auto const* const id = table->get("id");
        auto const isSame = [&](Tables const& sensor) {
            auto const* const other = sensor.front()->get("id");
            return id && other && id->is_integer() && other->is_integer() &&
                   id->as_integer()->get() == other->as_integer()->get() &&
                   fileOf(sensor.back()->source()) != fileOf(table->source());
        };
        auto const same = std::find_if(sensors.begin(), sensors.end(), isSame);
        if (same == sensors.end()) {
            sensors.push_back({table});
        } else {
            same->push_back(table);
        }
    }
    return sensors;
}

// A sensor stands where the innermost of the files that tell of it has it: a board that is included keeps its
// order whatever is said of its sensors besides.
std::vector<Tables> inOrder(std::vector<Tables> sensors, Tables const& tables) {
    auto const placeOf = [&](Tables const& sensor) {
        return std::find(tables.begin(), tables.end(), sensor.back()) - tables.begin();
    };
    std::stable_sort(sensors.begin(), sensors.end(), [&](Tables const& left, Tables const& right) {
        bool const isOfOneFile = fileOf(left.back()->source()) == fileOf(right.back()->source());
        return isOfOneFile ? placeOf(left) < placeOf(right) : placeOf(left) > placeOf(right);
    });
    return sensors;
}

void readTables(Tables const& files, Reading& reading) {
    auto& [scenario, faults, included] = reading;
    Names names;
    Fields const fields("", files, faults);
    auto const sensors = fields.tables("sensor");
    auto const controllers = fields.tables("controller");
    if (sensors.empty() || controllers.empty()) names.lack();
    readBoard(fields.inner("board", fields.layers("board")))(scenario.settings);
    for (auto const* const table : fields.tables("supply"))
        readSupply(fields.inner("supply", *table), scenario.settings, names);
    for (auto const& tables : inOrder(bySensor(sensors), sensors)) {
        Fields const sensor = fields.inner("sensor", tables);
        int const id = scenario.sensors.emplace_back(readSensor(sensor, scenario.settings, names));
        if (auto device = readDevice(sensor, id)) scenario.devices.push_back(std::move(*device));
    }
    for (auto const* const table : controllers)
        scenario.controllers.push_back(readController(fields.inner("controller", *table), names));
    for (auto const* const table : fields.tables("client"))
        scenario.clients.push_back(readClient(fields.inner("client", *table), names));
}

Reading readingOf(Sources& sources, Reading reading) {
    if (reading.faults.empty()) readTables(sources.tables(), reading);
    auto const& files = sources.names();
    auto const placeOf = [&](Fault const& fault) {
        return std::pair(std::find(files.begin(), files.end(), fault.file), fault.line);
    };
    std::stable_sort(reading.faults.begin(), reading.faults.end(),
                     [&](Fault const& left, Fault const& right) { return placeOf(left) < placeOf(right); });
    if (!files.empty()) reading.included.assign(files.begin() + 1, files.end());
    return reading;
}

}  // namespace

std::string faultText(Fault const& fault, std::string_view file) {
    std::string text(fault.file.empty() ? file : fault.file);
    if (fault.line > 0) text += ':' + std::to_string(fault.line);
    if (!fault.field.empty()) text += ": " + fault.field;
    return text + ": " + fault.message;
}

Reading readScenario(std::string_view text) {
    Reading reading;
    Sources sources(reading.faults);
    sources.readText(text);
    return readingOf(sources, std::move(reading));
}

Reading readScenarioFile(std::string const& path, std::vector<std::string> const& settings) {
    Reading reading;
    Sources sources(reading.faults);
    sources.readFile(path);
    if (reading.faults.empty()) applySettings(settings, sources.editable(), reading.faults);
    reading = readingOf(sources, std::move(reading));
    // A setting has no lines.
    for (Fault& fault : reading.faults) {
        if (fault.file.starts_with(settingLabel(""))) fault.line = 0;
    }
    return reading;
}

}  // namespace zeqcam::tool
