#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zeqcam::tool {

// The values of a section in a trace that a run has written.
struct TraceValues {
    struct Sensor {
        std::string name;
        std::optional<std::int32_t> id;  // none: older traces have names alone
    };
    std::optional<Sensor> sensor;
    std::vector<Sensor> sensors;
    std::string client;  // that makes the request; empty: not told
    std::string result;  // "true"; empty: none
    bool failed = false;
    bool open = false;  // it had not ended
};

// Of JSON text; what is not there, or of another form, is empty.
TraceValues traceValuesOf(std::string_view text);

}  // namespace zeqcam::tool
