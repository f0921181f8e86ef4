#include "Storm.h"

#include "PowerTest.h"

#include <algorithm>
#include <map>
#include <mutex>
#include <random>
#include <utility>

namespace zeqcam::tests {
namespace {

constexpr int kSensorsOfAGroup = 2;
constexpr int kClients = 5;
constexpr int kRequestsOfABatch = 20;

}  // namespace

board::Settings Storm::settings() {
    board::Settings settings;
    for (int sensor = 0; sensor < kGroups * kSensorsOfAGroup; ++sensor) settings.sensors[sensor];
    settings.log.mode = 0;
    return settings;
}

Storm::Storm(board::Board& board) : mBoard(board) {
    int sensor = 0;
    for (Group& group : mGroups) {
        for (int i = 0; i < kSensorsOfAGroup; ++i) group.sensors.push_back(sensor++);
        group.replaceController();
    }
}

void Storm::Group::replaceController() {
    std::lock_guard const alone(inCall);
    controller.reset();
    controller = NSCam::IPowerOnOffController::create({.sensorIds = sensors});
}

void Storm::playClient(unsigned int seed) {
    std::mt19937 random(seed);
    for (int request = 0; request < kRequestsOfABatch; ++request) {
        Group& group = mGroups[random() % kGroups];
        if (random() % 16 == 0) group.replaceController();
        std::shared_lock const call(group.inCall);
        std::vector<int> sensors = group.sensors;
        std::shuffle(sensors.begin(), sensors.end(), random);
        sensors.resize(1 + random() % sensors.size());
        switch (random() % 5) {
            case 0:
                group.controller->getStatus();
                break;
            case 1:
            case 2:
                group.controller->powerOff(sensors);
                break;
            default:
                group.controller->powerOn(sensors);
                break;
        }
    }
}

std::string Storm::playBatch(unsigned int seed) {
    mBoard.journal().clear();
    {
        Background const waiter([] { NSCam::IPowerOnOffController::waitSensorsPowerOff(); });
        std::vector<std::unique_ptr<Background>> clients;
        for (unsigned int client = 0; client < kClients; ++client) {
            clients.push_back(
                std::make_unique<Background>([this, seed, client] { playClient(seed + client); }));
        }
        clients.clear();
        for (Group& group : mGroups) group.controller->powerOff(group.sensors);
    }
    return wrongInBatch();
}

// Every power-on of a sensor is followed by its power-off and every power-off follows a power-on.
std::string Storm::wrongInBatch() {
    std::map<int, bool> powered;
    for (Entry const& entry : mBoard.journal().entries()) {
        bool const on = entry.kind == Kind::SensorPowerOn;
        if (!on && entry.kind != Kind::SensorPowerOff) continue;
        std::string const sensor = "sensor " + std::to_string(entry.sensor);
        if (std::exchange(powered[entry.sensor], on) == on) return sensor + " powered twice alike";
        if (!on) ++mCycles;
    }
    for (auto const& [sensor, isPowered] : powered) {
        if (isPowered) return "sensor " + std::to_string(sensor) + " is left on";
    }
    return mBoard.openHandles() + mBoard.openServices() == 0 ? "" : "a handle or a service is left";
}

}  // namespace zeqcam::tests
