#include "replay/ScenarioPlan.h"

#include "replay/ScenarioText.h"
#include "text/Printable.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <utility>

namespace zeqcam::tool {
namespace {

using std::chrono::microseconds;

std::string headOf(Record const& record, std::vector<std::string> const& notes) {
    std::string text = "# Played again";
    std::string separator = ": what ";
    for (std::string const& file : record.files) text += std::exchange(separator, ", ") + printable(file);
    text += record.files.empty() ? "\n" : " tells\n";
    text +=
        "#\n# Log level, seed and the order of threads that meet are not known: those of a run stand "
        "here.\n";
    text +=
        "# Statuses of services are not known: they answer 0. What the sensors share, such as a supply, "
        "is not\n"
        "# known: a wait for it is in their times.\n";
    for (std::string const& note : notes) text += "# " + printable(note) + '\n';
    return text;
}

std::string serviceText(char const* key, MeasuredService const& measured) {
    if (measured.isAbsent && measured.on.isEmpty()) return fmt::format("{} = {{ present = false }}\n", key);
    std::string values;
    auto const add = [&](char const* name, MeasuredTimes const& times) {
        if (times.isEmpty() || times.most() == microseconds(0)) return;
        values += fmt::format("{}{} = {}", values.empty() ? "" : ", ", name, timesText(times));
    };
    add("on_ms", measured.on);
    add("off_ms", measured.off);
    return values.empty() ? "" : fmt::format("{} = {{ {} }}\n", key, values);
}

std::string timeText(char const* key, MeasuredTimes const& times) {
    if (times.isEmpty()) return fmt::format("# {} is unknown: 0 stands for it\n", key);
    std::string const count = times.count() > 1 ? fmt::format("    # of {} times", times.count()) : "";
    return fmt::format("{} = {}{}\n", key, timesText(times), count);
}

std::string sensorsOf(ScenarioPlan const& plan, Record const& record) {
    std::string text;
    for (auto const& [id, sensor] : plan.sensors) {
        text += fmt::format("\n[[sensor]]\nid = {}\n", id);
        Record::Sensor const* const known = record.findSensor(id);
        if (known != nullptr && known->name != TextId::Empty)
            text += "name = " + tomlString(record.textOf(known->name)) + '\n';
        text += timeText("power_on_ms", sensor.on) + timeText("power_off_ms", sensor.off);
        if (auto const failures = plan.failures.find(id); failures != plan.failures.end())
            text += fmt::format("power_on_fails = {{ times = {} }}\n", idsText(failures->second));
        text += serviceText("hal3a", sensor.hal3a) + serviceText("peripheral", sensor.peripheral);
    }
    return text;
}

std::string controllersOf(ScenarioPlan const& plan) {
    std::string text;
    for (std::size_t index = 0; index < plan.controllers.size(); ++index) {
        ControllerPlan const& controller = plan.controllers[index];
        std::set<int> drives;
        for (int const sensor : controller.sensors) {
            if (!controller.notDriven.contains(sensor)) drives.insert(sensor);
        }
        text += fmt::format(
            "\n[[controller]]\nname = \"controller {}\"\nsensors = {}    # those that were seen\n", index + 1,
            idsText(drives));
    }
    return text.empty() ? "\n[[controller]]\nname = \"controller 1\"\nsensors = []\n" : text;
}

// A comment stands behind the step's comma.
std::string lineOf(std::string const& step) {
    auto const comment = std::min(step.find("    #"), step.size());
    std::string table = step.substr(0, comment);
    while (table.ends_with(' ')) table.pop_back();
    return "    {" + table + " }," + step.substr(comment) + '\n';
}

std::string clientsOf(ScenarioPlan const& plan) {
    if (plan.clients.empty())
        return "\n# No request was seen.\n[[client]]\nname = \"nobody\"\ncontroller = \"controller 1\"\n"
               "steps = [{ sleep_ms = 1 }]\n";
    std::string text;
    for (ClientPlan const& part : plan.clients) {
        text += fmt::format("\n[[client]]\nname = {}\ncontroller = \"controller {}\"\nsteps = [\n",
                            tomlString(part.name), part.controller + 1);
        for (std::string const& step : part.steps) text += lineOf(step);
        text += "]\n";
    }
    return text;
}

}  // namespace

std::string textOf(ScenarioPlan const& plan, Record const& record, std::vector<std::string> const& notes) {
    return headOf(record, notes) + "\n[board]\nlog = \"debug\"\n" + sensorsOf(plan, record) +
           controllersOf(plan) + clientsOf(plan);
}

}  // namespace zeqcam::tool
