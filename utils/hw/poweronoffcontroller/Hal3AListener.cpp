#include "utils/hw/poweronoffcontroller/Hal3AListener.h"

#include "diagnostics/Log.h"
#include "diagnostics/Trace.h"

#include <zeqcam/platform/Hal3A.h>

#include <cstdint>
#include <utility>

#define ZEQCAM_LOG_TAG "ZeqCam/Hal3AListener"
#define ZEQCAM_LOG_PREFIX "%d[Hal3AListener::%s] "
#define ZEQCAM_LOG_PREFIX_VALUES mSensorIdx, __FUNCTION__

namespace NSCam {

using diagnostics::ScopedTrace;
using zeq::hal3a::IHal3AAssist;
using zeq::hal3a::IPeripheralController;

IPowerOnOffListener::~IPowerOnOffListener() = default;

Hal3AListener::Hal3AListener(int sensorIdx, std::string name)
    : mSensorIdx(sensorIdx), mName(std::move(name)) {
    logDebug("%p", static_cast<void*>(this));
}

Hal3AListener::~Hal3AListener() = default;

std::string Hal3AListener::getName() {
    return "Hal3A";
}

bool Hal3AListener::init() {
    auto const sensorIndex = static_cast<unsigned int>(mSensorIdx);
    std::int32_t status = 0;
    {
        ScopedTrace const section("init()::IPeripheralController");
        mPeripheralCtrl = IPeripheralController::GetInstance(sensorIndex);
        if (mPeripheralCtrl) {
            ScopedTrace const notification("IPeripheralController::notifyPowerOn");
            status = mPeripheralCtrl->notifyPowerOn();
        } else {
            logError("Bad mPeripheralCtrl");
        }
    }
    {
        ScopedTrace const section("init()::hal3a");
        mHal3aCtrl = IHal3AAssist::createInstance(sensorIndex);
        if (mHal3aCtrl) {
            ScopedTrace const notification("hal3a::notifyPowerOn");
            status = mHal3aCtrl->notifyPowerOn();
        } else {
            logError("Bad mHal3aCtrl");
        }
    }
    return status == 0 && (mPeripheralCtrl || mHal3aCtrl);
}

bool Hal3AListener::notifyPowerOn() {
    ScopedTrace const section("3A notifyPowerOn");
    return true;
}

bool Hal3AListener::notifyPowerOff() {
    std::int32_t status = 0;
    if (mHal3aCtrl) {
        ScopedTrace const section("3A notifyPowerOff");
        status = mHal3aCtrl->notifyPowerOff();
    }
    if (mPeripheralCtrl) {
        ScopedTrace const section("CamHw notifyPowerOff");
        status = mPeripheralCtrl->notifyPowerOff();
    }
    return status == 0;
}

}  // namespace NSCam
