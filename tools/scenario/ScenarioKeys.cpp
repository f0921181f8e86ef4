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
    {"", "board", Type::Table, "{}", 0, 0, "",
     "what the board is, apart from its sensors"},
    {"", "sensor", Type::Tables, "", 0, 0, "",
     "the board's sensors"},
    {"", "controller", Type::Tables, "", 0, 0, "",
     "made in this order before a client starts"},
    {"", "client", Type::Tables, "", 0, 0, "",
     "each on a thread of its own"},

    {"board", "queue", Type::Choice, "queued", 0, 0, "queued at_once late dropped missing",
     "when a task posted to a controller's queue runs: on the queue's threads in the order of the "
     "posts; inside the post; on those threads but `queue_late_ms` after the post; never; or there is "
     "no queue"},
    {"board", "queue_threads", Type::Integer, "1", 1, 16, "threads",
     "of each queue"},
    {"board", "queue_late_ms", Type::Number, "0", 0, kMinute, "ms",
     "counts for `queue = \"late\"`"},
    {"board", "queue_handles", Type::Choice, "given", 0, 0, "given none no_future",
     "what a post answers: a handle with a future, no handle, a handle without a future"},
    {"board", "sensor_list", Type::Boolean, "true", 0, 0, "",
     "false: the process has no sensor list, and no power-on succeeds"},
    {"board", "power_budget", Type::Boolean, "true", 0, 0, "",
     "false: there is no power budget to ask"},
    {"board", "seed", Type::Integer, "1", 0, kSeedMost, "",
     "of the faults by chance; `--seed` takes its place"},
    {"board", "log", Type::Choice, "info", 0, 0, "error warning info debug",
     "the least important lines that are logged; `-v` and `-q` take its place"},
    {"board", "debug_log_property", Type::Integer, "0", kInt32Least, kInt32Most, "",
     "the system property `vendor.debug.camera.log`; from 1 on, each performance hint written is "
     "logged"},

    {"sensor", "id", Type::Integer, "", kInt32Least, kInt32Most, "",
     "no two sensors have the same"},
    {"sensor", "name", Type::Text, "sensor ID", 1, kNameMost, "bytes",
     "no two sensors have the same; not a number"},
    {"sensor", "power_on_ms", Type::Number, "0", 0, kMinute, "ms",
     "how long a power-on takes, failed or not"},
    {"sensor", "power_off_ms", Type::Number, "0", 0, kMinute, "ms",
     "how long a power-off takes, failed or not"},
    {"sensor", "power_on_fails", Type::Choice, "never", 0, 0, "never always",
     "or a table, below"},
    {"sensor", "power_off_fails", Type::Boolean, "false", 0, 0, "",
     "true: it answers failure and stays powered"},
    {"sensor", "power_on_hangs", Type::Boolean, "false", 0, 0, "",
     "true: a power-on never returns; `--timeout` cuts the run off"},
    {"sensor", "power_off_hangs", Type::Boolean, "false", 0, 0, "",
     "true: a power-off never returns"},
    {"sensor", "handle", Type::Boolean, "true", 0, 0, "",
     "false: the sensor list makes no handle for it, and a power-on that names it powers no sensor"},
    {"sensor", "hal3a", Type::Table, "{}", 0, 0, "",
     "its 3A control, below"},
    {"sensor", "peripheral", Type::Table, "{}", 0, 0, "",
     "its peripheral controller, below"},

    {"sensor.power_on_fails", "times", Type::Integers, "[]", 1, 1000000, "power-ons, counted from 1",
     "these power-ons of the sensor"},
    {"sensor.power_on_fails", "chance", Type::Number, "0", 0, 1, "",
     "each power-on with this probability; the same ones in every run with the same seed"},

    {"sensor.hal3a", "present", Type::Boolean, "true", 0, 0, "",
     "false: the sensor has none"},
    {"sensor.hal3a", "on_status", Type::Integer, "0", kInt32Least, kInt32Most, "",
     "what it answers to a power-on; 0 is success"},
    {"sensor.hal3a", "off_status", Type::Integer, "0", kInt32Least, kInt32Most, "",
     "what it answers to a power-off; 0 is success"},

    {"sensor.peripheral", "present", Type::Boolean, "true", 0, 0, "",
     "false: the sensor has none"},
    {"sensor.peripheral", "on_status", Type::Integer, "0", kInt32Least, kInt32Most, "",
     "what it answers to a power-on; 0 is success"},
    {"sensor.peripheral", "off_status", Type::Integer, "0", kInt32Least, kInt32Most, "",
     "what it answers to a power-off; 0 is success"},

    {"controller", "name", Type::Text, "", 1, kNameMost, "bytes",
     "no two controllers have the same"},
    {"controller", "sensors", Type::Sensors, "", 0, 0, "",
     "those that it may drive; may be empty"},

    {"client", "name", Type::Text, "", 1, kNameMost, "bytes",
     "no two clients have the same"},
    {"client", "controller", Type::Text, "", 1, kNameMost, "bytes",
     "the name of its controller; several clients may share one"},
    {"client", "steps", Type::Tables, "", 0, 0, "",
     "what it does, in order"},

    // A step has one of these, besides what it expects: `expect`, `failed`, `reports`, `within_ms`.
    {"client.steps", "power_on", Type::Sensors, "none", 0, 0, "",
     "asks the controller to power them on; those of another controller are skipped with a warning"},
    {"client.steps", "power_off", Type::Sensors, "none", 0, 0, "",
     "asks the controller to power them off"},
    {"client.steps", "status", Type::Table, "none", 0, 0, "",
     "asks the controller which sensors are on; the table holds what is expected, as sensors with true "
     "or false; it may be empty"},
    {"client.steps", "powered", Type::Table, "none", 0, 0, "",
     "asks the board which sensors have power, where `status` asks what the controller counts as on; the "
     "table is as with `status`, of any sensors of the board"},
    {"client.steps", "sleep_ms", Type::Number, "none", 0, kMinute, "ms",
     "the client does nothing"},
    {"client.steps", "wait", Type::Boolean, "none", 0, 0, "",
     "can only be true: waits until no power-on of the process holds the power-on lock, for ever if "
     "need be"},
    {"client.steps", "destroy", Type::Boolean, "none", 0, 0, "",
     "can only be true: the client lets go of its controller; the last of its clients to do so "
     "destroys it, which powers off what is on"},
    {"client.steps", "expect", Type::Boolean, "none", 0, 0, "",
     "the result that the `power_on` is to have"},
    {"client.steps", "failed", Type::Sensors, "none", 0, 0, "",
     "the sensors that must fail in this `power_on`, `power_off` or `destroy`, and no others"},
    {"client.steps", "reports", Type::Integer, "none", 0, 1000000, "",
     "how many exceptions the `power_on` must report"},
    {"client.steps", "within_ms", Type::Number, "none", 0, kMinute, "ms",
     "how long the `power_on`, `power_off` or `wait` may take"},
};
// clang-format on

}  // namespace

std::span<Key const> scenarioKeys() {
    return kKeys;
}

}  // namespace zeqcam::tool
