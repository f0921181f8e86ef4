#include "PhotoSession.h"

namespace camera {

using NSCam::IPowerOnOffController;

PhotoSession::PhotoSession(int mainSensor, int wideSensor)
    : mMainSensor(mainSensor),
      mWideSensor(wideSensor),
      mController(IPowerOnOffController::create({.sensorIds = {mainSensor, wideSensor}})) {}

PhotoSession::~PhotoSession() {
    close();
}

PhotoSession::State PhotoSession::open() {
    close();
    if (powerOn({mMainSensor, mWideSensor})) return State::Full;
    if (powerOn({mMainSensor})) return State::MainOnly;
    return State::Closed;
}

void PhotoSession::close() {
    mController->powerOff(mPowered);
    mPowered.clear();
}

bool PhotoSession::powerOn(std::vector<int> const& sensors) {
    mPowered = sensors;
    if (mController->powerOn(sensors)) return true;
    close();  // the sensors of a request that failed count as on, and would be skipped by the next
    return false;
}

}  // namespace camera
