// The model and the storm, their threads in orders that a seed chooses: what fails once can be repeated.
#include "PowerTest.h"
#include "Seeds.h"
#include "model/SideBySide.h"
#include "storm/Storm.h"

#include <zeqcam/simulation/Simulation.h>

#include <random>
#include <set>

namespace zeqcam::tests {
namespace {

void tellAll(std::vector<Entry> const& entries, std::ostream& told) {
    for (Entry const& entry : entries) {
        told << entry.time.time_since_epoch().count() << ' ' << entry.thread << ' ' << tell(entry) << '\n';
    }
}

void playModel(std::uint64_t seed, std::ostream& told) {
    constexpr int kSteps = 100;
    std::mt19937_64 random(seed);
    SideBySide run([&random](unsigned int most) { return static_cast<unsigned int>(random() % (most + 1)); });
    for (int step = 0; step < kSteps; ++step) {
        std::string const wrong = run.step();
        tellAll(run.journal(), told);
        if (!wrong.empty()) return simulation::fail("step " + std::to_string(step) + ": " + wrong);
    }
}

void playStorm(std::uint64_t seed, std::ostream& told) {
    board::Board board(Storm::settings());
    Storm storm(board);
    std::string wrong = storm.playBatch(static_cast<unsigned int>(seed));
    tellAll(board.journal().entries(), told);
    for (board::CallerFault const& fault : board.callerFaults()) wrong += '\n' + fault.what;
    if (!wrong.empty()) simulation::fail(wrong);
}

TEST(Seeds, TheModelAgreesInOrdersOfManySeeds) {
    expectOfSeeds("ZEQCAM_MODEL_SEED", 20, playModel);
}

TEST(Seeds, TheStormLosesNothingInOrdersOfManySeeds) {
    expectOfSeeds("ZEQCAM_STORM_SEED", 20, playStorm);
}

TEST(Seeds, OneGivesTheSameJournalAgainAndOthersOtherOnes) {
    for (auto const& body : {playModel, playStorm}) {
        std::set<std::string> journals;
        for (std::uint64_t const seed : {1U, 2U, 3U}) {
            std::string const journal = playedApart(body, seed).told;
            EXPECT_NE(journal, "");
            EXPECT_TRUE(playedApart(body, seed).told == journal) << seed;
            journals.insert(journal);
        }
        EXPECT_EQ(journals.size(), 3U);
    }
}

// As a fault would that only an order shows: of two, either may be the first to have its sensor on.
void failsWhenTheSecondIsFirst(std::uint64_t, std::ostream&) {
    board::Board board(Storm::settings());
    auto const controller = NSCam::IPowerOnOffController::create({.sensorIds = {0, 1}});
    controller->powerOn({0, 1});
    auto const first = ofKinds(board.journal().entries(), {Kind::SensorPowerOn}).front();
    controller->powerOff({0, 1});
    if (first.sensor == 1) simulation::fail("sensor 1 is the first");
}

TEST(Seeds, OneThatFailsIsRepeatedByWhatIsToldOfIt) {
    std::uint64_t failing = 1;
    Played found;
    while (found.failure.empty() && failing < 1000) found = playedApart(failsWhenTheSecondIsFirst, ++failing);
    EXPECT_EQ(found.failure, "failed by \"seed " + std::to_string(failing) + "\": sensor 1 is the first");
    EXPECT_EQ(playedApart(failsWhenTheSecondIsFirst, failing).failure, found.failure);
}

}  // namespace
}  // namespace zeqcam::tests
