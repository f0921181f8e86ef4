#include "Explore.h"

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <thread>
#include <utility>

namespace zeqcam::tests {
namespace {

int preemptions() {
    char const* const text = std::getenv("ZEQCAM_PREEMPTIONS");
    int number = 1;
    if (text != nullptr) std::from_chars(text, text + std::strlen(text), number);
    return number;
}

}  // namespace

board::Settings quietBoard() {
    board::Settings settings;
    for (int const sensor : {0, 1, 2}) settings.sensors[sensor];
    settings.log = {.detailsLevel = 0, .normalDetailsMask = 0, .mode = 0, .hasUnifiedLogger = false};
    settings.traceTags = 0;
    return settings;
}

board::Settings withoutQueue() {
    board::Settings settings = quietBoard();
    settings.queue.present = false;
    return settings;
}

Phone::Phone(board::Settings const& settings) : board(settings) {
    // Lines of a log meet in the journal.
    board.journal().setOn(settings.log.mode != 0);
    mUnvaried.emplace();
}

Phone::~Phone() {
    for (int const sensor : {0, 1, 2}) {
        expect(!board.isPowered(sensor), "sensor " + std::to_string(sensor) + " is on");
    }
    expect(board.openHandles() == 0, "a handle is left");
    expect(board.openServices() == 0, "a service is left");
}

Controller Phone::create(std::vector<int> sensorIds) {
    return NSCam::IPowerOnOffController::create({.sensorIds = std::move(sensorIds)});
}

void Phone::varied(std::function<void()> const& call) {
    mUnvaried.reset();
    call();
    mUnvaried.emplace();
}

void Phone::together(std::vector<std::function<void()>> const& calls) {
    varied([&] {
        std::vector<std::thread> threads;
        for (auto const& call : calls) threads.emplace_back(call);
        for (std::thread& thread : threads) thread.join();
    });
}

void Phone::meetsOthers() {
    board.journal().add({.text = "meets others"});
}

void expect(bool isSo, std::string const& what) {
    if (!isSo) simulation::fail(what);
}

void expectOfEverySchedule(std::function<void()> const& body, int most) {
    simulation::Exploration const found =
        simulation::explore(body, {.preemptions = std::min(preemptions(), most)});
    std::cout << simulation::summary(found) << " (" << found.points << " points, " << found.elapsed.count()
              << " ms)\n";
    EXPECT_TRUE(found.complete || found.failure);
    if (found.failure) ADD_FAILURE() << found.failure->schedule << '\n' << found.failure->report;
}

}  // namespace zeqcam::tests
