#include "diagnostics/Log.h"

#include "Inside.h"
#include "QuietBoard.h"

#include <cstdio>
#include <memory>

#ifdef ZEQCAM_HAVE_SPDLOG
#include <spdlog/sinks/null_sink.h>
#include <spdlog/spdlog.h>
#endif
#ifdef ZEQCAM_HAVE_GLOG
#include <glog/logging.h>
#endif

#define ZEQCAM_LOG_TAG "zeqcam-PowerOnOffController"
#define ZEQCAM_LOG_PREFIX "[PowerOnOffController::%s] "
#define ZEQCAM_LOG_PREFIX_VALUES __FUNCTION__

namespace zeqcam::benchmarks {
namespace {

using NSCam::diagnostics::kLineSize;
using NSCam::diagnostics::Level;
using NSCam::diagnostics::load;
using NSCam::Utils::ULog::ULogger;

constexpr int kDroppedStatements = 2000;
constexpr int kDeliveredLines = 50;

int gSensorId = 7;

template <class Statement>
Side side(std::shared_ptr<QuietBoard> const& board, char const* name, int operations, Statement statement) {
    return {.name = name,
            .job = [board, run = repeated(operations, statement)] { run(); },
            .operations = operations};
}

// ---- A statement that its gate drops ----

template <Level level>
void libraryStatement() {
    if constexpr (level == Level::Warning) logWarning("sensorId(%d)", gSensorId);
    if constexpr (level == Level::Info) logInfo("sensorId(%d)", gSensorId);
    if constexpr (level == Level::Debug) logDebug("sensorId(%d)", gSensorId);
}

// The least that a gate can be. It leaves out the sinks' choice and the site, which only a statement that
// passes needs.
template <Level level>
void floorStatement() {
    constexpr std::uint32_t kGate = level == Level::Warning ? 2 : level == Level::Info ? 3 : 5;
    if (load(ULogger::sDetailsLevel) >= kGate) {
        log_dbg_print(ZEQCAM_LOG_TAG, CAM_DEBUG_LEVEL_INFO, "sensorId(%d)", gSensorId);
    }
}

#ifdef ZEQCAM_HAVE_SPDLOG
template <Level level>
void spdlogStatement(spdlog::logger* logger) {
    constexpr auto kLevel = level == Level::Warning ? spdlog::level::warn
                            : level == Level::Info  ? spdlog::level::info
                                                    : spdlog::level::debug;
    SPDLOG_LOGGER_CALL(logger, kLevel, "sensorId({})", gSensorId);
}
#endif

#ifdef ZEQCAM_HAVE_GLOG
template <Level level>
void glogStatement() {
    if constexpr (level == Level::Warning) LOG(WARNING) << "sensorId(" << gSensorId << ")";
    if constexpr (level == Level::Info) LOG(INFO) << "sensorId(" << gSensorId << ")";
    if constexpr (level == Level::Debug) VLOG(1) << "sensorId(" << gSensorId << ")";
}
#endif

template <Level level>
std::vector<Side> dropped() {
    auto const board = std::make_shared<QuietBoard>(deviceSettings());
    std::vector<Side> sides;
    sides.push_back(side(board, "library", kDroppedStatements, [] { libraryStatement<level>(); }));
    sides.push_back(
        side(board, "load, compare, branch", kDroppedStatements, [] { floorStatement<level>(); }));
    sides.back().atMostLonger = 1.0;
#ifdef ZEQCAM_HAVE_SPDLOG
    auto const logger =
        std::make_shared<spdlog::logger>("quiet", std::make_shared<spdlog::sinks::null_sink_mt>());
    logger->set_level(spdlog::level::err);
    sides.push_back(
        side(board, "spdlog", kDroppedStatements, [logger] { spdlogStatement<level>(logger.get()); }));
    sides.back().atMostRatio = 1.0;
#endif
#ifdef ZEQCAM_HAVE_GLOG
    FLAGS_minloglevel = google::GLOG_ERROR;
    sides.push_back(side(board, "glog", kDroppedStatements, [] { glogStatement<level>(); }));
    sides.back().atMostRatio = 1.0;
#endif
    return sides;
}

// ---- A line that reaches its sinks ----

// By hand, what the sinks are promised: a zeroed buffer for the composed format, text from the heap. It
// leaves out the gate, the sinks' choice, and what keeps a sink's exception from the caller.
void debugPrintByHand() {
    char composed[kLineSize] = {};
    std::snprintf(composed, sizeof composed, "%s[%s] %s:%d %s() %s", g_logInfoLv[CAM_DEBUG_LEVEL_INFO].prefix,
                  ZEQCAM_LOG_TAG, get_filename_log_control(__FILE__), __LINE__, __FUNCTION__,
                  ZEQCAM_LOG_PREFIX "%s");
    log_dbg_print(ZEQCAM_LOG_TAG, CAM_DEBUG_LEVEL_INFO, composed, __FUNCTION__, "powerOn +");
}

void unifiedLogByHand() {
    std::unique_ptr<char[]> const text(new char[kLineSize]);
    int const length =
        std::snprintf(text.get(), kLineSize, ZEQCAM_LOG_PREFIX "%s", __FUNCTION__, "powerOn +");
    text[kLineSize - 1] = '\0';
    ULogger::sULogger->text(NSCam::diagnostics::kModule, ZEQCAM_LOG_TAG, CAM_DEBUG_LEVEL_INFO, text.get(),
                            static_cast<std::uint32_t>(length));
}

// The board's sinks return at once: they cost both sides the same and hide nothing.
template <class ByHand>
Comparison delivered(char const* name, std::uint32_t mode, ByHand byHand) {
    auto const sides = [mode, byHand] {
        board::Settings settings = deviceSettings();
        settings.log.detailsLevel = 3;
        settings.log.mode = mode;
        auto const board = std::make_shared<QuietBoard>(settings);
        std::vector<Side> both{side(board, "library", kDeliveredLines, [] { logInfo("powerOn +"); }),
                               side(board, "snprintf and sink by hand", kDeliveredLines, byHand)};
        both[1].atMostRatio = 1.15;
        return both;
    };
    return {.name = name, .sides = sides, .samples = 300};
}

}  // namespace

void addLog(Comparisons& all) {
    all.push_back({.name = "dropped warning", .sides = dropped<Level::Warning>, .samples = 150});
    all.push_back({.name = "dropped info", .sides = dropped<Level::Info>, .samples = 150});
    all.push_back({.name = "dropped debug line", .sides = dropped<Level::Debug>, .samples = 150});
    all.push_back(delivered("line to the debug print", 0x1, debugPrintByHand));
    all.push_back(delivered("line to the unified logger", 0x2, unifiedLogByHand));
    all.push_back(delivered("line to both sinks", 0x3, [] {
        debugPrintByHand();
        unifiedLogByHand();
    }));
}

}  // namespace zeqcam::benchmarks
