#include "views/FailureText.h"

#include "analysis/Outcomes.h"
#include "analysis/SensorNames.h"
#include "text/TimeText.h"

#include <algorithm>
#include <utility>

namespace zeqcam::tool {
namespace {

using board::Kind;

std::string sensorOf(Record const& record, std::optional<std::int32_t> sensor) {
    return sensor ? sensorTitle(record, *sensor) : "a sensor";
}

// ": still active after 2.00 s"; empty where nobody told.
std::string reasonOf(Record const& record, Event const& event) {
    std::string_view const why = record.textOf(event.detail);
    return why.empty() ? std::string() : ": " + std::string(why);
}

// Empty when the event is no failure.
std::string textOf(Record const& record, Event const& event) {
    if (isRefusal(event)) return refusalText(record, event);
    bool const isNo = event.number.value_or(1) == 0;
    if (event.kind == Kind::SensorPowerOnDone && isNo)
        return sensorOf(record, event.sensor) + " did not come up" + reasonOf(record, event);
    if (event.kind == Kind::SensorPowerOffDone && isNo)
        return sensorOf(record, event.sensor) + " did not go off" + reasonOf(record, event);
    if (event.kind != Kind::ExceptionReport) return {};
    std::string message(record.textOf(event.shown));
    message.erase(0, message.find_first_not_of("\r\n"));
    return "exception reported by " + std::string(record.textOf(event.text)) + ": " + message;
}

}  // namespace

std::string refusalText(Record const& record, Event const& event) {
    bool const is3A = event.kind == Kind::Hal3APowerOn || event.kind == Kind::Hal3APowerOff;
    bool const isOn = event.kind == Kind::Hal3APowerOn || event.kind == Kind::PeripheralPowerOn;
    return std::string(is3A ? "the 3A control" : "the peripheral controller") + " of " +
           sensorOf(record, event.sensor) + " answered " + std::to_string(event.number.value_or(0)) +
           (isOn ? " to its power-on" : " to its power-off");
}

std::vector<std::string> failureLines(Record const& record) {
    std::vector<std::pair<Instant, std::string>> failures;
    for (Event const& event : record.events) {
        if (std::string text = textOf(record, event); !text.empty())
            failures.emplace_back(event.time, std::move(text));
    }
    for (CallerFault const& fault : record.callerFaults) {
        failures.emplace_back(fault.time.value_or(record.end), "the caller's fault, " +
                                                                   sensorOf(record, fault.sensor) + ": " +
                                                                   std::string(record.textOf(fault.text)));
    }
    std::stable_sort(failures.begin(), failures.end(),
                     [](auto const& left, auto const& right) { return left.first < right.first; });
    std::vector<std::string> lines;
    lines.reserve(failures.size());
    for (auto const& [time, text] : failures) lines.push_back(timeText(time - record.begin) + ": " + text);
    return lines;
}

}  // namespace zeqcam::tool
