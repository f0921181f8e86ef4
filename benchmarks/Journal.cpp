#include <zeqcam/board/Board.h>
#include <zeqcam/platform/Performance.h>
#include <zeqcam/platform/Properties.h>

#include "QuietBoard.h"
#include "SideBySide.h"

#include <memory>

namespace zeqcam::benchmarks {
namespace {

constexpr int kEntries = 500;

// What an entry costs the caller whose call it tells of. No row of the library's: the board's alone.
template <class Call>
Comparison entry(char const* name, Call call) {
    auto const sides = [call] {
        auto const board = std::make_shared<QuietBoard>(deviceSettings());
        auto const journal = [board](bool on) {
            return [board, on] {
                board->get().journal().setOn(on);
                board->get().journal().clear();
            };
        };
        auto const job = [board, calls = repeated(kEntries, call)] { calls(); };
        return std::vector<Side>{{.name = "journal on",
                                  .job = job,
                                  .prepare = journal(true),
                                  .undo = journal(false),
                                  .operations = kEntries},
                                 {.name = "journal off", .job = job, .operations = kEntries}};
    };
    return {.name = name, .sides = sides, .samples = 300};
}

}  // namespace

void addJournal(Comparisons& all) {
    all.push_back(entry("journal entry without a text", [] { C2PSMachine::markCriticalTask(); }));
    all.push_back(entry("journal entry with a long text",
                        [] { NSCam::Utils::Properties::property_get_int32("vendor.debug.camera.log", 0); }));
}

}  // namespace zeqcam::benchmarks
