#pragma once

#include <zeqcam/platform/Visibility.h>

// The name is the device's: that it is a reserved one is not ours to change.
#if defined(__clang__)
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wreserved-identifier"
#endif

// One line to the Android log. Thread-safe.
extern "C" ZEQCAM_PLATFORM_API int __android_log_print(int priority, char const* tag, char const* format, ...)
    __attribute__((format(printf, 3, 4)));

#if defined(__clang__)
#pragma clang diagnostic pop
#endif
