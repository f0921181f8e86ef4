#include "commands/NextSteps.h"

#include "analysis/Chain.h"
#include "text/Printable.h"
#include "text/ShellText.h"
#include "views/ChainText.h"
#include "views/Table.h"

#include <fmt/format.h>

#include <string_view>

namespace zeqcam::tool {
namespace {

// Null: none took any time.
Chain const* slowestOf(Record const& record, std::vector<Chain> const& chains) {
    Chain const* slowest = nullptr;
    for (Chain const& chain : chains) {
        // Whoever waits for a lock or sleeps is no slower for that.
        RequestKind const kind = record.requests[chain.request].kind;
        bool const works = kind != RequestKind::Sleep && kind != RequestKind::Wait;
        if (works && chain.slowest && (!slowest || chain.time() > slowest->time())) slowest = &chain;
    }
    return slowest;
}

std::string commandOf(std::string_view command, Played const& played) {
    std::string text = fmt::format("zeqcam-power {} {}", command, shellWord(played.file));
    for (std::string const& setting : played.settings) text += " --set " + shellWord(setting);
    return text;
}

}  // namespace

void tellNextSteps(Record const& record, Verdict verdict, Played const& played,
                   Presentation const& presentation, std::ostream& out) {
    Ink const ink{presentation.colours};
    auto const chains = chainsOf(record);
    Chain const* const slowest = slowestOf(record, chains);
    out << '\n';
    if (slowest) {
        auto const client = record.requests[slowest->request].client;
        out << ink.bold("Slowest") << "  "
            << printable(fmt::format("{}: {}", record.textOf(record.clients[client].name),
                                     chainLine(record, *slowest)))
            << '\n';
    }
    std::string const seed = record.seed ? fmt::format(" --seed {}", *record.seed) : "";
    std::string const schedule = " --schedule " + shellWord(played.schedule);
    auto next = [&, isFirst = true](std::string const& command, char const* does) mutable {
        out << (isFirst ? ink.bold("Next") + "     " : "         ") << command << "   # " << does << '\n';
        isFirst = false;
    };
    if (verdict != Verdict::Passed && played.isSimulated)
        next(commandOf("run", played) + " --simulate" + (played.schedule.empty() ? seed : schedule),
             "the same again");
    if (verdict != Verdict::Passed && !played.isSimulated)
        next(commandOf("explore", played), "whether an order of threads repeats it");
    if (slowest) next(commandOf("chain", played) + seed, "what each request waited for");
    if (verdict == Verdict::Passed)
        next(commandOf("explore", played), "whether it holds in every order of threads");
}

}  // namespace zeqcam::tool
