#include "run/Repetition.h"

#include "run/ForkedRuns.h"
#include "run/LogOutput.h"
#include "run/Memory.h"
#include "run/Run.h"
#include "run/SimulatedRun.h"
#include "series/FiguresBytes.h"
#include "text/TimeText.h"

#include <cstdint>
#include <ostream>
#include <string>
#include <utility>

namespace zeqcam::tool {
namespace {

// In a process of its own, which ends after it: whatever hangs stays behind.
RunFigures playOnce(Scenario const& scenario, Repetition const& repetition) {
    std::uint64_t const seed = scenario.settings.seed;
    if (repetition.simulates) {
        keepOneHeap();
        auto* const run = new SimulatedRun(simulate(scenario, seed, repetition.limit));
        return figuresOf(run->record, repetition.strictness, seed, repetition.selection);
    }
    keepMemorySmall();
    auto* const watch = new Watch;
    auto* const run = new Run(scenario, Run::Drains::Meanwhile, [watch] { watch->allDone(); });
    bool const ended =
        watch->wait(repetition.limit ? Watch::Limit(*repetition.limit) : Watch::Limit()) == End::AllDone;
    if (ended) run->join();
    Record record = run->record();
    if (!ended)
        record.cutOff = repetition.limit ? "has not ended within " + timeText(*repetition.limit)
                                         : "was ended from outside";
    return figuresOf(record, repetition.strictness, seed, repetition.selection);
}

}  // namespace

Series repeat(Scenario scenario, Repetition const& repetition) {
    // Log lines meet on a lock, which is part of a simulated run's order: they are written, to nobody.
    std::ostream nobody(nullptr);
    LogOutput log(nobody, LogOutput::Addresses::Hidden);
    log.close();
    std::ostream logStream(&log);
    scenario.settings.logStream = &logStream;
    std::uint64_t const first = scenario.settings.seed;
    Series series;
    series.clock = repetition.simulates ? ClockKind::Virtual : ClockKind::Monotonic;
    auto const add = [&](RunFigures figures) {
        series.add(std::move(figures));
        if (repetition.progress) repetition.progress(series);
    };
    std::size_t const jobs = repetition.jobs > 0 ? repetition.jobs : processorsAllowed();
    playForked({.count = repetition.times,
                .jobs = repetition.simulates ? jobs : 1,
                .bindsToProcessor = repetition.simulates,
                .play =
                    [&](std::size_t index) {
                        scenario.settings.seed = first + index;
                        return bytesOf(playOnce(scenario, repetition));
                    },
                .take = [&](std::size_t, std::string const& came) { add(figuresFrom(came)); },
                .lost =
                    [&](std::size_t index, std::string const& how) {
                        add({.run = first + index, .verdict = Verdict::CutOff, .why = how, .figures = {}});
                    },
                .isCancelled = [&] { return repetition.isCancelled && repetition.isCancelled(); }});
    if (series.runs().size() < repetition.times) series.asked = repetition.times;
    return series;
}

}  // namespace zeqcam::tool
