#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace zeqcam::tool {

// The values of a section in a trace that a run has written.
struct TraceValues {
    std::string sensor;  // empty: none
    std::vector<std::string> sensors;
    std::string result;  // "true"; empty: none
    bool failed = false;
    bool open = false;  // it had not ended
};

// Of JSON text; what is not there, or of another form, is empty.
TraceValues traceValuesOf(std::string_view text);

}  // namespace zeqcam::tool
