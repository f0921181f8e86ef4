#include "analysis/SensorNames.h"

#include <charconv>
#include <cstdint>

namespace zeqcam::tool {
namespace {

// The library widens a negative id with its sign and writes it unsigned.
std::optional<int> idOf(std::string_view text) {
    std::uint64_t wide = 0;
    std::int64_t id = 0;
    char const* const end = text.data() + text.size();
    auto const [afterWide, noWide] = std::from_chars(text.data(), end, wide);
    auto const [afterId, noId] = std::from_chars(text.data(), end, id);
    if (noId == std::errc() && afterId == end) return static_cast<int>(id);
    if (noWide == std::errc() && afterWide == end) return static_cast<int>(static_cast<std::int64_t>(wide));
    return {};
}

std::string defaultName(int sensor) {
    return "sensor " + std::to_string(sensor);
}

}  // namespace

std::string sensorTitle(Record const& record, int sensor) {
    Record::Sensor const* const known = record.findSensor(sensor);
    return known != nullptr && known->name != TextId::Empty ? std::string(record.textOf(known->name))
                                                            : defaultName(sensor);
}

std::string sensorWord(Record const& record, int sensor) {
    std::string title = sensorTitle(record, sensor);
    return title == defaultName(sensor) ? std::to_string(sensor) : title;
}

std::string sensorPhrase(Record const& record, std::optional<int> sensor) {
    return "sensor " + (sensor ? record.nameOfSensor(*sensor) : "?");
}

SensorLabel sensorLabel(Record const& record, std::string_view traced) {
    for (std::string_view const begin : {"powerOnSensor: ", "powerOff: "}) {
        if (!traced.starts_with(begin)) continue;
        auto const sensor = idOf(traced.substr(begin.size()));
        if (!sensor) break;
        return {std::string(begin) + sensorWord(record, *sensor), sensor, begin == "powerOnSensor: "};
    }
    return {std::string(traced), {}, false};
}

}  // namespace zeqcam::tool
