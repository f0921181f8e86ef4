// A client that knows the library alone: what stands behind it is found when the program starts.

#include <zeqcam/IPowerOnOffController.h>

#include <cstdio>

namespace {

void powerOn(NSCam::IPowerOnOffController& controller, int sensor) {
    bool const accepted = controller.powerOn({sensor});
    std::printf("client: power-on of %d %s\n", sensor, accepted ? "accepted" : "refused");
}

}  // namespace

int main() {
    auto const controller = NSCam::IPowerOnOffController::create({.sensorIds = {3, 5, 7}});
    powerOn(*controller, 3);
    powerOn(*controller, 5);
    powerOn(*controller, 7);
    controller->powerOff({3, 5});
    std::puts("client: off");
}
