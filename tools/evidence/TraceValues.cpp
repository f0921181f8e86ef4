#include "evidence/TraceValues.h"

#include <nlohmann/json.hpp>

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

}  // namespace

TraceValues traceValuesOf(std::string_view text) {
    TraceValues read;
    json const values = json::parse(text, nullptr, false);
    if (!values.is_object()) return read;
    read.sensor = textIn(values, "sensor");
    read.result = textIn(values, "result");
    read.failed = isTrueIn(values, "failed");
    read.open = isTrueIn(values, "open");
    if (auto const sensors = values.find("sensors"); sensors != values.end() && sensors->is_array()) {
        for (json const& sensor : *sensors) {
            if (sensor.is_string()) read.sensors.push_back(sensor.get<std::string>());
        }
    }
    return read;
}

}  // namespace zeqcam::tool
