#include <zeqcam/views/ShowBoard.h>

#include "files/OutputFile.h"
#include "run/JournalRecord.h"
#include "views/Report.h"
#include "views/SvgTimeline.h"
#include "views/TerminalTimeline.h"
#include "views/TraceFile.h"

#include <unistd.h>

#include <chrono>
#include <filesystem>

namespace zeqcam::views {
namespace {

tool::Record recordOf(board::Board& board) {
    using std::chrono::steady_clock;
    using std::chrono::system_clock;
    tool::Record record;
    auto const entries = board.journal().entries();
    auto const now = steady_clock::now();
    record.end = tool::instantOf(now);
    record.process = getpid();
    record.toWallClock = system_clock::now().time_since_epoch() - now.time_since_epoch();
    auto const settings = board.settings();
    record.seed = settings.seed;
    for (auto const& [id, sensor] : settings.sensors) {
        record.sensors.push_back(
            {.id = id, .name = record.texts.add(sensor.name), .powered = board.isPowered(id)});
    }
    tool::addJournal(record, entries);
    tool::addCallerFaults(record, board.callerFaults());
    return record;
}

}  // namespace

Files showBoard(board::Board& board, std::string const& prefix) {
    tool::Record const record = recordOf(board);
    Files files{prefix + ".txt", prefix + ".svg", prefix + ".json"};
    tool::Presentation presentation;
    presentation.title = std::filesystem::path(prefix).filename();
    presentation.columns = 100;
    presentation.glyphs = tool::Glyphs::Utf8;
    tool::OutputFile(files.text).write([&](std::ostream& out) {
        tool::writeTerminalTimeline(record, presentation, out);
        tool::writeReport(record, presentation, out);
    });
    tool::OutputFile(files.picture).write([&](std::ostream& out) {
        tool::writeSvg(record, presentation, out);
    });
    tool::OutputFile(files.trace).write([&](std::ostream& out) {
        tool::writeTrace(record, presentation, out);
    });
    return files;
}

}  // namespace zeqcam::views
