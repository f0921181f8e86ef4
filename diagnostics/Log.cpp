#include "diagnostics/Log.h"

#include <cstdarg>
#include <cstdio>
#include <memory>
#include <new>

namespace NSCam::diagnostics {
namespace {

constexpr std::uint32_t kModeDebugPrint = 0x1;
constexpr std::uint32_t kModeUnifiedLogger = 0xa;
constexpr std::uint8_t kRecordEnabled = 0x80;

constexpr std::uint32_t unifiedLevel(Level level) {
    return level == Level::Debug ? 5 : static_cast<std::uint32_t>(debugPrintLevel(level));
}

}  // namespace

bool selectsDebugPrint(std::uint32_t mode, Level level) noexcept {
    return (mode & kModeDebugPrint) != 0 &&
           (__atomic_load_n(&g_logInfoLv[debugPrintLevel(level)].flags, __ATOMIC_RELAXED) & kRecordEnabled) !=
               0;
}

bool selectsUnifiedLogger(std::uint32_t mode) noexcept {
    return (mode & kModeUnifiedLogger) != 0;
}

void composeDebugPrint(char (&composed)[kLineSize], Level level, Site const& site, char const* format) {
    // Asked one after the other: as arguments of one call their order would be the compiler's.
    char const* const prefix = g_logInfoLv[debugPrintLevel(level)].prefix;
    char const* const file = get_filename_log_control(site.path);
    std::snprintf(composed, sizeof composed, "%s[%s] %s:%d %s() %s%s", prefix, site.tag, file, site.line,
                  site.function, format, level == Level::Error ? " (%s){#%d:%s}" : "");
}

void recordUnified(Level level, char const* tag, char const* format, ...) noexcept try {
    Utils::ULog::ULogger* const logger = __atomic_load_n(&Utils::ULog::ULogger::sULogger, __ATOMIC_ACQUIRE);
    if (logger == nullptr) return;

    std::unique_ptr<char[]> const text(new (std::nothrow) char[kLineSize]);
    if (!text) return;

    std::va_list values;
    va_start(values, format);
    int const length = std::vsnprintf(text.get(), kLineSize, format, values);
    va_end(values);
    if (length < 0) return;

    text[kLineSize - 1] = '\0';
    logger->text(kModule, tag, unifiedLevel(level), text.get(), static_cast<std::uint32_t>(length));
} catch (...) {
}

}  // namespace NSCam::diagnostics
