#include "replay/ScenarioText.h"

#include "text/Printable.h"

#include <fmt/format.h>

#include <algorithm>

namespace zeqcam::tool {
namespace {

template <class Ids>
std::string listText(Ids const& ids) {
    std::string text;
    for (int const id : ids) text += (text.empty() ? "" : ", ") + std::to_string(id);
    return '[' + text + ']';
}

}  // namespace

std::string msText(std::chrono::microseconds time) {
    auto const clamped = std::clamp(time, std::chrono::microseconds(0), kLongestTime);
    return fmt::format("{}", static_cast<double>(clamped.count()) / 1000);
}

std::string timesText(MeasuredTimes const& times) {
    if (times.least() == times.most()) return msText(times.most());
    return '[' + msText(times.least()) + ", " + msText(times.most()) + ']';
}

std::string tomlString(std::string_view text) {
    std::string quoted = "\"";
    for (char const each : printable(text)) {
        if (each == '"' || each == '\\') quoted += '\\';
        quoted += each;
    }
    return quoted + '"';
}

std::string idsText(std::vector<int> const& ids) {
    return listText(ids);
}

std::string idsText(std::set<int> const& ids) {
    return listText(ids);
}

}  // namespace zeqcam::tool
