#pragma once

#include <zeqcam/platform/Visibility.h>

#include <cstddef>
#include <cstdint>

// The camera stack's debug print.
extern "C" {

enum cam_debug_level_t : int {
    CAM_DEBUG_LEVEL_DEBUG = 0,
    CAM_DEBUG_LEVEL_ERROR = 1,
    CAM_DEBUG_LEVEL_WARNING = 2,
    CAM_DEBUG_LEVEL_INFO = 3,
};

// The settings of one level, indexed by cam_debug_level_t.
struct cam_debug_level_record {
    std::uint8_t reserved0[6];
    std::uint8_t flags;  // 0x80: the level is enabled
    std::uint8_t reserved7;
    char const* prefix;  // zero-terminated
    std::uint8_t reserved16[16];
};

ZEQCAM_PLATFORM_API extern cam_debug_level_record g_logInfoLv[];

// The caller's format is itself composed at run time: it is not checked against the values here.
ZEQCAM_PLATFORM_API void log_dbg_print(char const* tag, cam_debug_level_t level, char const* format, ...);

// The text to show for a source file. It becomes part of a format: whoever provides it guarantees that it
// holds no '%'.
ZEQCAM_PLATFORM_API char const* get_filename_log_control(char const* path);
}

static_assert(sizeof(cam_debug_level_t) == sizeof(int));
static_assert(sizeof(cam_debug_level_record) == 32);
static_assert(offsetof(cam_debug_level_record, flags) == 6);
static_assert(offsetof(cam_debug_level_record, prefix) == 8);
