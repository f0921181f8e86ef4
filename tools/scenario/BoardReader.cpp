#include "scenario/BoardReader.h"

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace zeqcam::tool {
namespace {

// The debug print would tell each line once more.
constexpr std::uint32_t kUnifiedLoggerOnly = 0x2;

bool canBeReferredTo(Fields const& fields, int id, std::string const& name, Names& names) {
    bool const hasId = fields.holdsInteger("id");
    bool const repeatsId = hasId && names.sensor(id).has_value();
    if (repeatsId) fields.fault("id", "sensor " + std::to_string(id) + " is defined already");
    // A key of a status table is a sensor's id or its name: no text may be both.
    bool const isNumber = wholeNumber(name).has_value();
    if (isNumber) fields.fault("name", "must not be a number");
    bool const repeatsName = !names.addSensor(name, id) && fields.has("name") && !name.empty();
    if (repeatsName) fields.fault("name", inQuotes(name) + " names a sensor already");
    return hasId && !repeatsId && !isNumber && !repeatsName && !name.empty();
}

board::PowerOnFault powerOnFails(Fields const& sensor) {
    auto const* const value = sensor.node("power_on_fails");
    if (!value || !value->is_table()) return {.always = sensor.choice("power_on_fails") == 1};
    Fields const fields = sensor.inner("sensor.power_on_fails", *value->as_table());
    if (!fields.has("times") && !fields.has("chance"))
        sensor.fault("power_on_fails", "must hold times or chance");
    return {.times = fields.integers("times"), .probability = fields.number("chance")};
}

std::optional<board::Service> service(Fields const& fields) {
    board::Service const service{.onStatus = static_cast<std::int32_t>(fields.integer("on_status")),
                                 .offStatus = static_cast<std::int32_t>(fields.integer("off_status"))};
    return fields.boolean("present") ? std::optional(service) : std::nullopt;
}

}  // namespace

void readBoard(Fields const& fields, board::Settings& settings) {
    constexpr std::array kRuns{board::TaskRuns::Queued, board::TaskRuns::AtOnce, board::TaskRuns::Late,
                               board::TaskRuns::Dropped};
    constexpr std::array kHandles{board::TaskHandles::Given, board::TaskHandles::NoHandle,
                                  board::TaskHandles::NoFuture};
    constexpr std::array<std::uint32_t, 4> kDetailsLevels{1, 2, 3, 5};
    std::size_t const queue = fields.choice("queue");
    settings.queue.present = queue < kRuns.size();
    if (settings.queue.present) settings.queue.runs = kRuns.at(queue);
    settings.queue.threads = static_cast<int>(fields.integer("queue_threads"));
    settings.queue.lateBy = fields.time("queue_late_ms");
    settings.queue.handles = kHandles.at(fields.choice("queue_handles"));
    settings.hasSensorList = fields.boolean("sensor_list");
    settings.hasPowerBudget = fields.boolean("power_budget");
    settings.seed = static_cast<std::uint64_t>(fields.integer("seed"));
    settings.log.mode = kUnifiedLoggerOnly;
    settings.log.detailsLevel = kDetailsLevels.at(fields.choice("log"));
    settings.properties["vendor.debug.camera.log"] =
        static_cast<std::int32_t>(fields.integer("debug_log_property"));
}

void readSensor(Fields const& fields, board::Settings& settings, Names& names) {
    int const id = static_cast<int>(fields.integer("id"));
    board::Sensor sensor;
    sensor.name = fields.has("name") ? fields.text("name") : "sensor " + std::to_string(id);
    sensor.powerOnTime = fields.time("power_on_ms");
    sensor.powerOffTime = fields.time("power_off_ms");
    sensor.powerOnFails = powerOnFails(fields);
    sensor.powerOffFails = fields.boolean("power_off_fails");
    sensor.powerOnHangs = fields.boolean("power_on_hangs");
    sensor.powerOffHangs = fields.boolean("power_off_hangs");
    sensor.hasHandle = fields.boolean("handle");
    sensor.hal3a = service(fields.inner("sensor.hal3a", fields.table("hal3a")));
    sensor.peripheral = service(fields.inner("sensor.peripheral", fields.table("peripheral")));

    if (!canBeReferredTo(fields, id, sensor.name, names)) names.lack();
    names.addId(id);
    settings.sensors.emplace(id, std::move(sensor));
}

}  // namespace zeqcam::tool
