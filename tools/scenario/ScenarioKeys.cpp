#include "scenario/ScenarioKeys.h"

#include "scenario/Scenario.h"

#include <limits>

namespace zeqcam::tool {
namespace {

constexpr double kInt32Least = std::numeric_limits<std::int32_t>::min();
constexpr double kInt32Most = std::numeric_limits<std::int32_t>::max();
constexpr double kMinute = 60000;
constexpr double kNameMost = 64;
constexpr double kPathMost = 4096;
constexpr double kMostSteps = kMostStepsOfClient;
constexpr bool kChanges = true;

// clang-format off
constexpr Key kKeys[] = {
    {"", "include", Type::Texts, "[]", 1, kPathMost, "bytes",
     "files whose tables count too, from the folder of this one on; what stands here takes the place of "
     "what they say of the board and of the same sensor"},
    {"", "board", Type::Table, "{}", 0, 0, "",
     "what the board is, apart from its sensors"},
    {"", "sensor", Type::Tables, "", 0, 0, "",
     "the board's sensors"},
    {"", "supply", Type::Tables, "none", 0, 0, "",
     "what feeds sensors, where they wait for each other"},
    {"", "controller", Type::Tables, "", 0, 0, "",
     "made in this order before a client starts"},
    {"", "client", Type::Tables, "", 0, 0, "",
     "each on a thread of its own; in the file that is played alone"},

    {"board", "queue", Type::Choice, "queued", 0, 0, "queued at_once late dropped missing",
     "when a task posted to a controller's queue runs: on the queue's threads in the order of the "
     "posts; inside the post; on those threads but `queue_late_ms` after the post; never; or there is "
     "no queue", kChanges},
    {"board", "queue_threads", Type::Integer, "1", 1, 16, "threads",
     "of each queue"},
    {"board", "queue_late_ms", Type::Number, "0", 0, kMinute, "ms",
     "counts for `queue = \"late\"`", kChanges},
    {"board", "queue_handles", Type::Choice, "given", 0, 0, "given none no_future",
     "what a post answers: a handle with a future, no handle, a handle without a future", kChanges},
    {"board", "sensor_list", Type::Boolean, "true", 0, 0, "",
     "false: the process has no sensor list, and no power-on succeeds", kChanges},
    {"board", "power_budget", Type::Boolean, "true", 0, 0, "",
     "false: there is no power budget to ask", kChanges},
    {"board", "seed", Type::Integer, "1", 0, kMostSeed, "",
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
    {"sensor", "power_on_ms", Type::Time, "0", 0, kMinute, "ms",
     "how long a power-on takes, failed or not", kChanges},
    {"sensor", "power_off_ms", Type::Time, "0", 0, kMinute, "ms",
     "how long a power-off takes, failed or not", kChanges},
    {"sensor", "power_on_fails", Type::Choice, "never", 0, 0, "never always",
     "or a table, below", kChanges},
    {"sensor", "power_off_fails", Type::Boolean, "false", 0, 0, "",
     "true: it answers failure and stays powered", kChanges},
    {"sensor", "power_on_hangs", Type::Boolean, "false", 0, 0, "",
     "true: a power-on does not return, unless a `change` lets it go on; `--timeout` cuts the run off", kChanges},
    {"sensor", "power_off_hangs", Type::Boolean, "false", 0, 0, "",
     "true: a power-off does not return, unless a `change` lets it go on", kChanges},
    {"sensor", "handle", Type::Boolean, "true", 0, 0, "",
     "false: the sensor list makes no handle for it, and a power-on that names it powers no sensor", kChanges},
    {"sensor", "supply", Type::Text, "none", 1, kNameMost, "bytes",
     "the name of the supply that feeds it; without one it waits for no other sensor", kChanges},
    {"sensor", "device", Type::Text, "none", 1, kPathMost, "bytes",
     "the folder in /sys of a real device with runtime power management that stands for the sensor: a power change "
     "takes what the device takes, not `power_on_ms` or `power_off_ms`"},
    {"sensor", "device_timeout_ms", Type::Number, "2000", 1, kMinute, "ms",
     "how long its `device` may take; then the power change has failed"},
    {"sensor", "hal3a", Type::Table, "{}", 0, 0, "",
     "its 3A control, below", kChanges},
    {"sensor", "peripheral", Type::Table, "{}", 0, 0, "",
     "its peripheral controller, below", kChanges},

    {"sensor.power_on_fails", "times", Type::Integers, "[]", 1, 1000000, "power-ons, counted from 1",
     "these power-ons of the sensor"},
    {"sensor.power_on_fails", "every", Type::Integer, "none", 1, 1000000, "power-ons",
     "of so many power-ons of the sensor the last: with 3 the third, the sixth and so on"},
    {"sensor.power_on_fails", "chance", Type::Number, "0", 0, 1, "",
     "each power-on with this probability; the same ones in every run with the same seed"},

    {"sensor.hal3a", "present", Type::Boolean, "true", 0, 0, "",
     "false: the sensor has none"},
    {"sensor.hal3a", "on_status", Type::Integer, "0", kInt32Least, kInt32Most, "",
     "what it answers to a power-on; 0 is success"},
    {"sensor.hal3a", "off_status", Type::Integer, "0", kInt32Least, kInt32Most, "",
     "what it answers to a power-off; 0 is success"},
    {"sensor.hal3a", "on_ms", Type::Time, "0", 0, kMinute, "ms",
     "how long it takes to answer a power-on"},
    {"sensor.hal3a", "off_ms", Type::Time, "0", 0, kMinute, "ms",
     "how long it takes to answer a power-off"},

    {"sensor.peripheral", "present", Type::Boolean, "true", 0, 0, "",
     "false: the sensor has none"},
    {"sensor.peripheral", "on_status", Type::Integer, "0", kInt32Least, kInt32Most, "",
     "what it answers to a power-on; 0 is success"},
    {"sensor.peripheral", "off_status", Type::Integer, "0", kInt32Least, kInt32Most, "",
     "what it answers to a power-off; 0 is success"},
    {"sensor.peripheral", "on_ms", Type::Time, "0", 0, kMinute, "ms",
     "how long it takes to answer a power-on"},
    {"sensor.peripheral", "off_ms", Type::Time, "0", 0, kMinute, "ms",
     "how long it takes to answer a power-off"},

    {"supply", "name", Type::Text, "", 1, kNameMost, "bytes",
     "no two supplies have the same"},
    {"supply", "at_once", Type::Integer, "1", 1, 1000000, "sensors",
     "how many of its sensors come up at once; the others wait in their power-on, in the order of their "
     "calls"},

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

    // A step has one of these, besides `steps` and what it expects: `expect`, `failed`, `reports`, `within_ms`.
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
    {"client.steps", "repeat", Type::Integer, "none", 1, kMostSteps, "times",
     "the client does the `steps` beside it so often; a client has 100000 steps at most, each repetition "
     "counted"},
    {"client.steps", "signal", Type::Text, "none", 1, kNameMost, "bytes",
     "gives the signal of this name to all who await it"},
    {"client.steps", "await", Type::Text, "none", 1, kNameMost, "bytes",
     "waits for the signal of this name; the client's second `await` of a name waits until it was given "
     "twice, and so on"},
    {"client.steps", "change", Type::Table, "none", 0, 0, "",
     "changes the board from its next call on; the table holds sensors, each with a table of the keys of "
     "`sensor` to change, all but `id`, `name`, `device` and `device_timeout_ms`"},
    {"client.steps", "change_board", Type::Table, "none", 0, 0, "",
     "the same with the keys of `board`: `queue`, but not to or from `missing`, `queue_late_ms`, "
     "`queue_handles`, `sensor_list`, `power_budget`"},
    {"client.steps", "expect", Type::Boolean, "none", 0, 0, "",
     "the result that the `power_on` is to have"},
    {"client.steps", "failed", Type::Sensors, "none", 0, 0, "",
     "the sensors that must fail in this `power_on`, `power_off` or `destroy`, and no others"},
    {"client.steps", "reports", Type::Integer, "none", 0, 1000000, "",
     "how many exceptions the `power_on` must report"},
    {"client.steps", "within_ms", Type::Number, "none", 0, kMinute, "ms",
     "how long the `power_on`, `power_off` or `wait` may take"},
    {"client.steps", "steps", Type::Tables, "none", 0, 0, "",
     "what is repeated, in order"},
};
// clang-format on

}  // namespace

std::span<Key const> scenarioKeys() {
    return kKeys;
}

}  // namespace zeqcam::tool
