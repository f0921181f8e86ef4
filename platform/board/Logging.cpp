#include "Device.h"

#include <zeqcam/platform/AndroidLog.h>
#include <zeqcam/platform/DebugPrint.h>
#include <zeqcam/platform/ULogger.h>

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <ostream>
#include <string_view>

using NSCam::Utils::ULog::ULogger;

namespace {

constexpr char const* kPrefixes[] = {"D", "E", "W", "I"};  // while no board stands

}  // namespace

cam_debug_level_record g_logInfoLv[] = {
    {.prefix = kPrefixes[0]},
    {.prefix = kPrefixes[1]},
    {.prefix = kPrefixes[2]},
    {.prefix = kPrefixes[3]},
};

std::uint32_t ULogger::sDetailsLevel = 0;
std::uint32_t ULogger::sNormalDetailsMask = 0;
std::uint32_t ULogger::sMode = 0;
ULogger* ULogger::sULogger = nullptr;

namespace zeqcam::board {
namespace {

constexpr std::uint8_t kLevelEnabled = 0x80;
constexpr std::size_t kTagColumn = 8;
constexpr std::size_t kPayload = 4068;    // what logd takes of one entry: level, tag and text
constexpr std::size_t kLevelAndEnds = 3;  // the level's byte and a zero behind either text

char letterAt(std::string_view letters, std::int64_t level) {
    return level >= 0 && level < std::ssize(letters) ? letters[static_cast<std::size_t>(level)] : '?';
}

// The unified logger and the debug print number their levels each in its own way.
char unifiedLetter(std::uint32_t level) {
    return letterAt("?EWI?D", level);
}
char debugPrintLetter(cam_debug_level_t level) {
    return letterAt("DEWI", level);
}
char androidLetter(int priority) {
    return letterAt("??VDIWEF", priority);
}

bool isHeard(Device const& device) {
    return device.journal.isOn() || device.settings().logStream;
}

class UnifiedLogger final : public ULogger {
  public:
    void text(std::uint32_t module, char const* tag, std::uint32_t level, char const* text,
              std::uint32_t length) override {
        InBoard const inside;
        Device* const device = standing();
        if (!device || !isHeard(*device)) return;
        withoutThrowing([&] {
            std::string const shown(textOf(text), strnlen(textOf(text), length));
            note(device->journal, [&] {
                return Entry{.kind = Kind::UnifiedLog,
                             .number = level,
                             .length = length,
                             .module = module,
                             .text = textOf(tag),
                             .shown = shown};
            });
            device->writeLogText(unifiedLetter(level), tag, shown);
        });
    }
};

UnifiedLogger gUnifiedLogger;

// A line whose format comes with values, of the debug print or the Android log.
void logFormatted(Kind kind, int level, char letter, char const* tag, char const* format,
                  std::va_list values) {
    InBoard const inside;
    Device* const device = standing();
    if (!device || !isHeard(*device)) return;
    withoutThrowing([&] {
        std::string const shown = expand(format, values);
        note(device->journal, [&] {
            return Entry{
                .kind = kind, .number = level, .text = textOf(tag), .format = format, .shown = shown};
        });
        device->writeLogText(letter, tag, shown);
    });
}

void setPrefix(int level, char const* prefix) {
    __atomic_store_n(&g_logInfoLv[level].prefix, prefix, __ATOMIC_RELAXED);
}

// "MM-DD HH:MM:SS.mmm", local time.
std::array<char, 32> timeOfDay() {
    std::timespec now{};
    std::timespec_get(&now, TIME_UTC);
    std::tm local{};
    localtime_r(&now.tv_sec, &local);
    std::array<char, 32> text{};
    std::size_t const seconds = std::strftime(text.data(), text.size(), "%m-%d %H:%M:%S", &local);
    std::snprintf(text.data() + seconds, text.size() - seconds, ".%03d",
                  static_cast<int>(now.tv_nsec / 1'000'000));
    return text;
}

}  // namespace

std::string expand(char const* format, std::va_list values) {
    std::va_list again;
    va_copy(again, values);
    int const length = std::vsnprintf(nullptr, 0, format, again);
    va_end(again);
    if (length < 0) return format;
    std::string text(static_cast<std::size_t>(length), '\0');
    std::vsnprintf(text.data(), text.size() + 1, format, values);
    return text;
}

void Device::writeLogText(char level, char const* tag, std::string_view text) {
    std::ostream* const stream = settings().logStream;
    if (!stream) return;
    std::array<char, 32> ids{};
    std::snprintf(ids.data(), ids.size(), " %5d %5d %c ", getpid(), gettid(), level);
    std::string column = textOf(tag);
    std::size_t const taken = std::min(column.size() + kLevelAndEnds, kPayload);
    column.resize(std::max(column.size(), kTagColumn), ' ');
    std::string const header = timeOfDay().data() + (ids.data() + column) + ": ";
    text = text.substr(0, kPayload - taken);
    std::string lines;
    do {
        std::size_t const end = std::min(text.find('\n'), text.size());
        lines.append(header).append(text.substr(0, end)).append("\n");
        text.remove_prefix(std::min(end + 1, text.size()));
    } while (!text.empty());
    std::lock_guard const hold(mStreamLock);
    *stream << lines << std::flush;
}

// Written like the library reads them, word by word: a change while others log is no race.
void setLogControls(LogControls const& controls) {
    ULogger* const logger = controls.hasUnifiedLogger ? &gUnifiedLogger : nullptr;
    __atomic_store_n(&ULogger::sULogger, logger, __ATOMIC_RELAXED);
    __atomic_store_n(&ULogger::sDetailsLevel, controls.detailsLevel, __ATOMIC_RELAXED);
    __atomic_store_n(&ULogger::sNormalDetailsMask, controls.normalDetailsMask, __ATOMIC_RELAXED);
    __atomic_store_n(&ULogger::sMode, controls.mode, __ATOMIC_RELAXED);
    for (int level = 0; level < std::ssize(g_logInfoLv); ++level) {
        auto const& off = controls.debugPrintLevelsOff;
        bool const enabled = std::count(off.begin(), off.end(), level) == 0;
        auto const flags = static_cast<std::uint8_t>((enabled ? kLevelEnabled : 0) |
                                                     (controls.debugPrintOtherFlags & ~kLevelEnabled));
        __atomic_store_n(&g_logInfoLv[level].flags, flags, __ATOMIC_RELAXED);
        // The same text is not set anew: prefixes are read without regard to other threads, as on a device.
        char const* const prefix = controls.debugPrintPrefixes[static_cast<std::size_t>(level)].c_str();
        if (std::strcmp(g_logInfoLv[level].prefix, prefix) != 0) setPrefix(level, prefix);
    }
}

void clearLogControls() {
    setLogControls({.detailsLevel = 0, .normalDetailsMask = 0, .mode = 0, .hasUnifiedLogger = false});
    for (int level = 0; level < std::ssize(g_logInfoLv); ++level) {
        if (g_logInfoLv[level].prefix != kPrefixes[level]) setPrefix(level, kPrefixes[level]);
    }
}

}  // namespace zeqcam::board

using namespace zeqcam::board;

void log_dbg_print(char const* tag, cam_debug_level_t level, char const* format, ...) {
    std::va_list values;
    va_start(values, format);
    logFormatted(Kind::DebugPrint, level, debugPrintLetter(level), tag, format, values);
    va_end(values);
}

int __android_log_print(int priority, char const* tag, char const* format, ...) {
    std::va_list values;
    va_start(values, format);
    logFormatted(Kind::AndroidLog, priority, androidLetter(priority), tag, format, values);
    va_end(values);
    return 1;
}

char const* get_filename_log_control(char const* path) {
    InBoard const inside;
    if (Device* const device = standing()) {
        note(device->journal, [&] { return Entry{.kind = Kind::FilenameText, .text = textOf(path)}; });
        if (auto const& text = device->settings().log.fileText) return text->c_str();
    }
    if (!path) return "";
    char const* const slash = std::strrchr(path, '/');
    return slash ? slash + 1 : path;
}
