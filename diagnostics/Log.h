#pragma once

#include <zeqcam/platform/DebugPrint.h>
#include <zeqcam/platform/ULogger.h>

#include <cstddef>
#include <cstdint>

// Log statements: logError, logWarning, logInfo and logDebug take a fixed message, or a format and its
// values. Each source file defines, after its includes,
//     ZEQCAM_LOG_TAG            its tag
//     ZEQCAM_LOG_PREFIX         what every format begins with
//     ZEQCAM_LOG_PREFIX_VALUES  the values of that prefix
// A statement whose gate fails costs the loads and branches of its gate and evaluates no value. Logging never
// throws: a line that gets no memory is lost. Values that do not fit their format do not compile.
#define logError(text, ...) ZEQCAM_LOG_TEXT##__VA_OPT__(_AND_VALUES)(Error, text __VA_OPT__(, ) __VA_ARGS__)
#define logWarning(text, ...) \
    ZEQCAM_LOG_TEXT##__VA_OPT__(_AND_VALUES)(Warning, text __VA_OPT__(, ) __VA_ARGS__)
#define logInfo(text, ...) ZEQCAM_LOG_TEXT##__VA_OPT__(_AND_VALUES)(Info, text __VA_OPT__(, ) __VA_ARGS__)
#define logDebug(text, ...) ZEQCAM_LOG_TEXT##__VA_OPT__(_AND_VALUES)(Debug, text __VA_OPT__(, ) __VA_ARGS__)

#define ZEQCAM_LOG_TEXT(level, text) logLine(level, ZEQCAM_LOG_PREFIX "%s", ZEQCAM_LOG_PREFIX_VALUES, text)
#define ZEQCAM_LOG_TEXT_AND_VALUES(level, format, ...) \
    logLine(level, ZEQCAM_LOG_PREFIX format, ZEQCAM_LOG_PREFIX_VALUES, __VA_ARGS__)

// A statement with a format of its own in place of the file's prefix.
#define logLine(level, format, ...)                                                             \
    (::NSCam::diagnostics::passesGate<::NSCam::diagnostics::Level::level>()                     \
         ? (static_cast<void>(false && ::NSCam::diagnostics::checkFormat(format, __VA_ARGS__)), \
            ::NSCam::diagnostics::deliver<::NSCam::diagnostics::Level::level>(                  \
                {ZEQCAM_LOG_TAG, __FILE__, __LINE__, __FUNCTION__}, format, __VA_ARGS__))       \
         : static_cast<void>(0))

namespace NSCam::diagnostics {

enum class Level : std::uint8_t { Error, Warning, Info, Debug };

// Where a statement stands.
struct Site {
    char const* tag;
    char const* path;
    int line;
    char const* function;
};

// The most that one line takes at either sink, its terminator included.
constexpr std::size_t kLineSize = 1024;

// The module's identifier in the unified log. Its detail bits, which gate debug lines, are all but the low
// twelve.
constexpr std::uint32_t kModule = 0x201002;
constexpr std::uint32_t kModuleDetails = kModule & ~0xfffU;

// The controls are the platform's and may change at any time, so each is loaded anew where it is needed.
inline std::uint32_t load(std::uint32_t const& control) noexcept {
    return __atomic_load_n(&control, __ATOMIC_RELAXED);
}

template <Level level>
bool passesGate() noexcept {
    using Utils::ULog::ULogger;
    if constexpr (level == Level::Error) {
        return true;
    } else if constexpr (level == Level::Warning) {
        return load(ULogger::sDetailsLevel) >= 2;
    } else if constexpr (level == Level::Info) {
        return load(ULogger::sDetailsLevel) >= 3;
    } else {
        return load(ULogger::sDetailsLevel) >= 5 &&
               (load(ULogger::sNormalDetailsMask) & kModuleDetails) == kModuleDetails;
    }
}

// Lends a format to the compiler's check against its values. Never called.
[[gnu::format(printf, 1, 2)]] bool checkFormat(char const* format, ...);

constexpr cam_debug_level_t debugPrintLevel(Level level) {
    switch (level) {
        case Level::Error:
            return CAM_DEBUG_LEVEL_ERROR;
        case Level::Warning:
            return CAM_DEBUG_LEVEL_WARNING;
        case Level::Info:
            return CAM_DEBUG_LEVEL_INFO;
        case Level::Debug:
            return CAM_DEBUG_LEVEL_DEBUG;
    }
    return CAM_DEBUG_LEVEL_ERROR;
}

bool selectsDebugPrint(std::uint32_t mode, Level level) noexcept;
bool selectsUnifiedLogger(std::uint32_t mode) noexcept;

// Writes the location and then the message's own format, unexpanded, into `composed`: the sink expands it.
void composeDebugPrint(char (&composed)[kLineSize], Level level, Site const& site, char const* format);
void recordUnified(Level level, char const* tag, char const* format, ...) noexcept;

// Hands a line that has passed its gate to the sinks that are selected. A sink that throws loses the line.
template <Level level, class... Values>
[[gnu::noinline]] void deliver(Site const& site, char const* format, Values... values) noexcept {
    using Utils::ULog::ULogger;
    std::uint32_t mode = load(ULogger::sMode);
    if (selectsDebugPrint(mode, level)) {
        try {
            char composed[kLineSize] = {};
            composeDebugPrint(composed, level, site, format);
            if constexpr (level == Level::Error) {
                log_dbg_print(site.tag, debugPrintLevel(level), composed, values..., site.function, site.line,
                              site.path);
            } else {
                log_dbg_print(site.tag, debugPrintLevel(level), composed, values...);
            }
        } catch (...) {
        }
        mode = load(ULogger::sMode);
    }
    if (selectsUnifiedLogger(mode)) recordUnified(level, site.tag, format, values...);
}

}  // namespace NSCam::diagnostics
