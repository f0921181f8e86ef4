#include <zeqcam/simulation/Simulation.h>

#include "Choices.h"
#include "Scheduler.h"

#include <memory>
#include <mutex>
#include <stdexcept>

namespace zeqcam::simulation {
namespace {

std::mutex gRunning;

Result runWith(std::function<void()> const& body, std::unique_ptr<Choice> choice, Limits const& limits) {
    if (isSimulated()) throw std::logic_error("a simulation cannot be run in another");
    std::unique_lock const running(gRunning, std::try_to_lock);
    if (!running || scheduler() != nullptr)
        throw std::logic_error("another simulation is run, or stands still");
    auto runs = std::make_unique<Scheduler>(limits, *choice, nullptr);
    bool const ended = runs->run(body);
    Result result = runs->result();
    if (result.ending == Ending::Ended && !choice->isUsedUp()) {
        result.ending = Ending::Diverged;
        result.report = "the schedule does not fit the body: it ended before every turn was given";
    }
    if (!ended) {
        // Its threads stand in them for good.
        static_cast<void>(runs.release());
        static_cast<void>(choice.release());
    }
    return result;
}

}  // namespace

std::string_view nameOf(Ending ending) {
    switch (ending) {
        case Ending::Ended:
            return "ended";
        case Ending::Failed:
            return "failed";
        case Ending::Deadlock:
            return "deadlock";
        case Ending::Livelock:
            return "livelock";
        case Ending::Blocked:
            return "blocked";
        case Ending::Diverged:
            return "diverged";
    }
    return "?";
}

Result run(std::function<void()> const& body, std::uint64_t seed, Limits limits) {
    return runWith(body, std::make_unique<SeededChoice>(seed), limits);
}

Result replay(std::function<void()> const& body, std::string_view schedule, Limits limits) {
    std::optional<Schedule> const parsed = scheduleOf(schedule);
    if (!parsed) throw std::invalid_argument("no schedule: \"" + std::string(schedule) + '"');
    if (Seed const* const seed = std::get_if<Seed>(&*parsed)) return run(body, *seed, limits);
    return runWith(body, std::make_unique<GivenChoice>(std::get<GivenTurns>(*parsed)), limits);
}

void fail(std::string_view reason) {
    if (isSimulated()) scheduler()->fail(reason);
}

bool isSimulated() {
    return self() != nullptr;
}

Unvaried::Unvaried() {
    if (isSimulated()) scheduler()->setUnvaried(true);
}
Unvaried::~Unvaried() {
    if (isSimulated()) scheduler()->setUnvaried(false);
}

void touch(void const* object, Access access) {
    if (!isSimulated()) return;
    scheduler()->reach(
        {.what = "touch", .object = object, .access = access, .idle = access == Access::Read ? 1 : 0});
}

}  // namespace zeqcam::simulation

using namespace zeqcam::simulation;

void zeqcam_simulation_touch(void const* object) {
    touch(object);
}

void zeqcam_simulation_begin(char const* label) {
    if (isSimulated()) self()->sections.emplace_back(label);
}

void zeqcam_simulation_end() {
    if (isSimulated() && !self()->sections.empty()) self()->sections.pop_back();
}
