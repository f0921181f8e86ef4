#pragma once

#include <zeqcam/platform/Visibility.h>

#include <cstdint>

// The Android system tracer. Sections nest per thread.
extern "C" {
ZEQCAM_PLATFORM_API std::uint64_t atrace_get_enabled_tags();
ZEQCAM_PLATFORM_API void atrace_begin_body(char const* label);
ZEQCAM_PLATFORM_API void atrace_end_body();
}
