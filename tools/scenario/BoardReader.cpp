#include "scenario/BoardReader.h"

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace zeqcam::tool {
namespace {

// The debug print would tell each line once more.
constexpr std::uint32_t kUnifiedLoggerOnly = 0x2;

// The edits of a part, key by key.
template <class Part>
class Edits {
  public:
    explicit Edits(Fields const& fields) : mFields(fields) {}

    // `read` is asked, with the fields and the key, when the table tells of the key.
    template <class Read, class Set>
    void add(std::string_view key, Read const& read, Set const& set) {
        if (!mFields.tells(key)) return;
        mEdits.push_back([set, value = std::invoke(read, mFields, key)](Part& part) { set(part, value); });
    }

    template <class Read, class Value>
    void add(std::string_view key, Read const& read, Value Part::*member) {
        add(key, read, [member](Part& part, auto const& value) { part.*member = value; });
    }

    [[nodiscard]] Edit<Part> all() const {
        return [edits = mEdits](Part& part) {
            for (auto const& edit : edits) edit(part);
        };
    }

  private:
    Fields const& mFields;
    std::vector<Edit<Part>> mEdits;
};

bool canBeReferredTo(Fields const& fields, int id, std::string const& name, Names& names) {
    bool const hasId = fields.holdsInteger("id");
    bool const repeatsId = hasId && names.sensor(id).has_value();
    if (repeatsId) fields.fault("id", "sensor " + std::to_string(id) + " is defined already");
    // A key of a status table is a sensor's id or its name: no text may be both.
    bool const isNumber = wholeNumber(name).has_value();
    if (isNumber) fields.fault("name", "must not be a number");
    bool const repeatsName = hasId && !repeatsId && !name.empty() && !names.addSensor(name, id);
    if (repeatsName && fields.has("name")) fields.fault("name", inQuotes(name) + " names a sensor already");
    if (repeatsName && !fields.has("name"))
        fields.fault("id", "without a name the sensor is " + inQuotes(name) + ", as another one is named");
    return hasId && !repeatsId && !isNumber && !repeatsName && !name.empty();
}

board::PowerOnFault powerOnFails(Fields const& sensor, std::string_view key) {
    auto const* const value = sensor.node(key);
    if (!value || !value->is_table()) return {.always = sensor.choice(key) == 1};
    Fields const fields = sensor.inner("sensor.power_on_fails", *value->as_table());
    if (!fields.has("times") && !fields.has("chance") && !fields.has("every"))
        sensor.fault(key, "must hold times, every or chance");
    return {.times = fields.integers("times"),
            .probability = fields.number("chance"),
            .every = fields.int32("every")};
}

std::string supply(Fields const& sensor, std::string_view key, Names const& names) {
    if (!sensor.has(key)) return {};
    std::string name = sensor.text(key);
    if (!name.empty() && !names.hasSupply(name))
        names.unknown(sensor, *sensor.node(key), key, "no supply is named " + inQuotes(name));
    return name;
}

// What is said of a service that the sensor lacks is said of a new one.
Edit<std::optional<board::Service>> service(Fields const& fields) {
    Edits<board::Service> edits(fields);
    edits.add("on_status", &Fields::int32, &board::Service::onStatus);
    edits.add("off_status", &Fields::int32, &board::Service::offStatus);
    edits.add("on_ms", &Fields::timeRange, &board::Service::onTime);
    edits.add("off_ms", &Fields::timeRange, &board::Service::offTime);
    bool const isPresent = fields.boolean("present");
    return [isPresent, edit = edits.all()](std::optional<board::Service>& service) {
        if (!service) service.emplace();
        edit(*service);
        if (!isPresent) service.reset();
    };
}

Edit<board::Sensor> sensorEdit(Fields const& fields, Names const& names) {
    using board::Sensor;
    Edits<Sensor> edits(fields);
    edits.add("power_on_ms", &Fields::timeRange, &Sensor::powerOnTime);
    edits.add("power_off_ms", &Fields::timeRange, &Sensor::powerOffTime);
    edits.add("power_on_fails", powerOnFails, &Sensor::powerOnFails);
    edits.add("power_off_fails", &Fields::boolean, &Sensor::powerOffFails);
    edits.add("power_on_hangs", &Fields::boolean, &Sensor::powerOnHangs);
    edits.add("power_off_hangs", &Fields::boolean, &Sensor::powerOffHangs);
    edits.add("handle", &Fields::boolean, &Sensor::hasHandle);
    edits.add(
        "supply", [&](Fields const& of, std::string_view key) { return supply(of, key, names); },
        &Sensor::supply);
    auto const addService = [&](std::string_view key, std::string_view path, auto member) {
        edits.add(
            key,
            [path](Fields const& of, std::string_view name) {
                return service(of.inner(path, of.table(name), of.says()));
            },
            [member](Sensor& sensor, auto const& edit) { edit(sensor.*member); });
    };
    addService("hal3a", "sensor.hal3a", &Sensor::hal3a);
    addService("peripheral", "sensor.peripheral", &Sensor::peripheral);
    return edits.all();
}

}  // namespace

Edit<board::Settings> readBoard(Fields const& fields) {
    using board::Settings;
    constexpr std::array kRuns{board::TaskRuns::Queued, board::TaskRuns::AtOnce, board::TaskRuns::Late,
                               board::TaskRuns::Dropped};
    constexpr std::array kHandles{board::TaskHandles::Given, board::TaskHandles::NoHandle,
                                  board::TaskHandles::NoFuture};
    constexpr std::array<std::uint32_t, 4> kDetailsLevels{1, 2, 3, 5};
    Edits<Settings> edits(fields);
    edits.add("queue", &Fields::choice, [kRuns](Settings& settings, std::size_t choice) {
        settings.queue.present = choice < kRuns.size();
        if (settings.queue.present) settings.queue.runs = kRuns.at(choice);
    });
    edits.add("queue_threads", &Fields::int32, [](auto& settings, int n) { settings.queue.threads = n; });
    edits.add("queue_late_ms", &Fields::time,
              [](auto& settings, auto time) { settings.queue.lateBy = time; });
    edits.add("queue_handles", &Fields::choice, [kHandles](Settings& settings, std::size_t choice) {
        settings.queue.handles = kHandles.at(choice);
    });
    edits.add("sensor_list", &Fields::boolean, &Settings::hasSensorList);
    edits.add("power_budget", &Fields::boolean, &Settings::hasPowerBudget);
    edits.add("seed", &Fields::integer, [](Settings& settings, std::int64_t seed) {
        settings.seed = static_cast<std::uint64_t>(seed);
    });
    edits.add("log", &Fields::choice, [kDetailsLevels](Settings& settings, std::size_t choice) {
        settings.log.mode = kUnifiedLoggerOnly;
        settings.log.detailsLevel = kDetailsLevels.at(choice);
    });
    edits.add("debug_log_property", &Fields::int32, [](Settings& settings, std::int32_t value) {
        settings.properties["vendor.debug.camera.log"] = value;
    });
    return edits.all();
}

void readSupply(Fields const& fields, board::Settings& settings, Names& names) {
    std::string const name = fields.text("name");
    if (name.empty()) {
        names.lack();
    } else if (!names.addSupply(name)) {
        fields.fault("name", inQuotes(name) + " names a supply already");
    }
    settings.supplies[name].atOnce = fields.int32("at_once");
}

int readSensor(Fields const& fields, board::Settings& settings, Names& names) {
    int const id = fields.int32("id");
    board::Sensor sensor;
    sensor.name = fields.has("name") ? fields.text("name") : "sensor " + std::to_string(id);
    sensorEdit(fields, names)(sensor);
    if (!canBeReferredTo(fields, id, sensor.name, names)) names.lack();
    names.addId(id);
    settings.sensors.emplace(id, std::move(sensor));
    return id;
}

std::optional<DeviceOfSensor> readDevice(Fields const& fields, int sensor) {
    std::string const path = fields.text("device");
    auto const timeout = fields.time("device_timeout_ms");
    auto const* const device = fields.node("device");
    if (!device) return {};
    if (!path.empty() && !path.starts_with("/sys/")) fields.fault("device", "must be a folder in /sys");
    return DeviceOfSensor{sensor, path, timeout, lineOf(device->source()), fileOf(device->source())};
}

Edit<board::Sensor> readSensorChange(Fields const& fields, Names const& names) {
    return sensorEdit(fields, names);
}

}  // namespace zeqcam::tool
