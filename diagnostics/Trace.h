#pragma once

#include <zeqcam/platform/Atrace.h>

#include <cstdint>

namespace NSCam::diagnostics {

constexpr std::uint64_t kCameraTraceTag = 0x400;

inline bool isTracing() noexcept {
    return (atrace_get_enabled_tags() & kCameraTraceTag) != 0;
}

// Opens a section of the calling thread. `label` must live until the section ends.
inline void traceBegin(char const* label) noexcept {
    if (isTracing()) atrace_begin_body(label);
}

// Closes the innermost open section of the calling thread. The tag is tested anew: tracing that is switched
// inside a section loses or adds an end, and the tracer copes with both.
inline void traceEnd() noexcept {
    if (isTracing()) atrace_end_body();
}

// A section from construction to destruction.
class ScopedTrace {
  public:
    explicit ScopedTrace(char const* label) noexcept { traceBegin(label); }
    ~ScopedTrace() { traceEnd(); }
    ScopedTrace(ScopedTrace const&) = delete;
    ScopedTrace& operator=(ScopedTrace const&) = delete;
};

}  // namespace NSCam::diagnostics
