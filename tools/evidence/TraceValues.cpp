#include "evidence/TraceValues.h"

#include <nlohmann/json.hpp>

#include <cstddef>
#include <limits>

namespace zeqcam::tool {
namespace {

using nlohmann::json;

std::string textIn(json const& values, char const* key) {
    auto const found = values.find(key);
    return found != values.end() && found->is_string() ? found->get<std::string>() : std::string();
}

bool isTrueIn(json const& values, char const* key) {
    auto const found = values.find(key);
    return found != values.end() && found->is_boolean() && found->get<bool>();
}

std::optional<std::int32_t> sensorIdOf(json const& value) {
    if (!value.is_number_integer()) return {};
    auto const id = value.get<std::int64_t>();
    bool const fits =
        id >= std::numeric_limits<std::int32_t>::min() + 1 && id <= std::numeric_limits<std::int32_t>::max();
    return fits ? std::optional(static_cast<std::int32_t>(id)) : std::nullopt;
}

}  // namespace

TraceValues traceValuesOf(std::string_view text) {
    TraceValues read;
    json const values = json::parse(text, nullptr, false);
    if (!values.is_object()) return read;
    if (std::string const name = textIn(values, "sensor"); !name.empty())
        read.sensor = TraceValues::Sensor{name, sensorIdOf(values.value("sensor_id", json()))};
    read.client = textIn(values, "client");
    read.result = textIn(values, "result");
    read.failed = isTrueIn(values, "failed");
    read.open = isTrueIn(values, "open");
    json const names = values.value("sensors", json());
    json const ids = values.value("sensor_ids", json());
    bool const hasIds = ids.is_array() && ids.size() == names.size();
    for (std::size_t i = 0; names.is_array() && i < names.size(); ++i) {
        if (names[i].is_string())
            read.sensors.push_back({names[i].get<std::string>(), sensorIdOf(hasIds ? ids[i] : json())});
    }
    return read;
}

}  // namespace zeqcam::tool
