#include "scenario/ScenarioKeys.h"

#include <limits>

namespace zeqcam::tool {
namespace {

constexpr double kInt32Least = std::numeric_limits<std::int32_t>::min();
constexpr double kInt32Most = std::numeric_limits<std::int32_t>::max();
constexpr double kSeedMost = std::numeric_limits<std::uint32_t>::max();
constexpr double kMinute = 60000;
constexpr double kNameMost = 64;

// clang-format off
constexpr Key kKeys[] = {
    {"", "board",      Type::Table,  "{}"},
    {"", "sensor",     Type::Tables, ""},
    {"", "controller", Type::Tables, ""},
    {"", "client",     Type::Tables, ""},

    {"board", "queue",              Type::Choice,  "queued", 0, 0, "queued at_once late dropped missing"},
    {"board", "queue_threads",      Type::Integer, "1", 1, 16, "threads"},
    {"board", "queue_late_ms",      Type::Number,  "0", 0, kMinute, "ms"},
    {"board", "queue_handles",      Type::Choice,  "given", 0, 0, "given none no_future"},
    {"board", "sensor_list",        Type::Boolean, "true"},
    {"board", "power_budget",       Type::Boolean, "true"},
    {"board", "seed",               Type::Integer, "1", 0, kSeedMost},
    {"board", "log",                Type::Choice,  "info", 0, 0, "error warning info debug"},
    {"board", "debug_log_property", Type::Integer, "0", kInt32Least, kInt32Most},

    {"sensor", "id",              Type::Integer, "", kInt32Least, kInt32Most},
    {"sensor", "name",            Type::Text,    "sensor ID", 1, kNameMost, "bytes"},
    {"sensor", "power_on_ms",     Type::Number,  "0", 0, kMinute, "ms"},
    {"sensor", "power_off_ms",    Type::Number,  "0", 0, kMinute, "ms"},
    {"sensor", "power_on_fails",  Type::Choice,  "never", 0, 0, "never always"},  // or a table
    {"sensor", "power_off_fails", Type::Boolean, "false"},
    {"sensor", "power_on_hangs",  Type::Boolean, "false"},
    {"sensor", "power_off_hangs", Type::Boolean, "false"},
    {"sensor", "handle",          Type::Boolean, "true"},
    {"sensor", "hal3a",           Type::Table,   "{}"},
    {"sensor", "peripheral",      Type::Table,   "{}"},

    {"sensor.power_on_fails", "times",  Type::Integers, "[]", 1, 1000000, "power-ons, counted from 1"},
    {"sensor.power_on_fails", "chance", Type::Number,   "0", 0, 1},

    {"sensor.hal3a", "present",    Type::Boolean, "true"},
    {"sensor.hal3a", "on_status",  Type::Integer, "0", kInt32Least, kInt32Most},
    {"sensor.hal3a", "off_status", Type::Integer, "0", kInt32Least, kInt32Most},

    {"sensor.peripheral", "present",    Type::Boolean, "true"},
    {"sensor.peripheral", "on_status",  Type::Integer, "0", kInt32Least, kInt32Most},
    {"sensor.peripheral", "off_status", Type::Integer, "0", kInt32Least, kInt32Most},

    {"controller", "name",    Type::Text, "", 1, kNameMost, "bytes"},
    {"controller", "sensors", Type::Sensors, ""},

    {"client", "name",       Type::Text,   "", 1, kNameMost, "bytes"},
    {"client", "controller", Type::Text,   "", 1, kNameMost, "bytes"},
    {"client", "steps",      Type::Tables, ""},

    // A step has one of these, besides what it expects: `expect`, `within_ms`, `failed`, `reports`.
    {"client.steps", "power_on",  Type::Sensors, "none"},
    {"client.steps", "power_off", Type::Sensors, "none"},
    {"client.steps", "status",    Type::Table,   "none"},  // sensors by id or name, each true or false
    {"client.steps", "powered",   Type::Table,   "none"},  // as with status
    {"client.steps", "sleep_ms",  Type::Number,  "none", 0, kMinute, "ms"},
    {"client.steps", "wait",      Type::Boolean, "none"},
    {"client.steps", "destroy",   Type::Boolean, "none"},
    {"client.steps", "expect",    Type::Boolean, "none"},  // the result of a power_on
    {"client.steps", "failed",    Type::Sensors, "none"},
    {"client.steps", "reports",   Type::Integer, "none", 0, 1000000},
    {"client.steps", "within_ms", Type::Number,  "none", 0, kMinute, "ms"},
};
// clang-format on

}  // namespace

std::span<Key const> scenarioKeys() {
    return kKeys;
}

}  // namespace zeqcam::tool
