#pragma once

#include <zeqcam/platform/Visibility.h>

// One line to the Android log. Thread-safe.
extern "C" ZEQCAM_PLATFORM_API int __android_log_print(int priority, char const* tag, char const* format, ...)
    __attribute__((format(printf, 3, 4)));
