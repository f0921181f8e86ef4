#pragma once

#include <zeqcam/Visibility.h>

#include <string>

namespace NSCam {

/// Hears of one sensor's power changes. The controller never calls two operations of one listener at once,
/// but calls them on different threads. No operation may call the controller. What one throws reaches whoever
/// asked for the power-on or power-off; while a controller is being destroyed it is lost.
class ZEQCAM_API IPowerOnOffListener {
  public:
    /// Called before the sensor's handle is released, on the thread that drops the sensor's record.
    virtual ~IPowerOnOffListener();

    /// The name in the power-on profile, any length. Called after each `init`, on the same thread. It is
    /// printed as a format: it must hold no '%'.
    virtual std::string getName() = 0;

    /// The sensor has just been powered on. Called once in a power cycle, on the sensor's power-on worker;
    /// the listeners of other sensors are called at the same time. The result is not looked at.
    virtual bool init() = 0;

    /// Every sensor of the request has been tried, this one possibly in vain: then `init` was not called.
    /// Called on the thread that asked for the power-on. False refuses: the power-on reports failure and this
    /// sensor's later listeners are not told.
    virtual bool notifyPowerOn() = 0;

    /// The sensor is about to be powered off. Called on the task queue, on the thread that asked for the
    /// power-off, or on the one that destroys the controller. The result is not looked at.
    virtual bool notifyPowerOff() = 0;
};

}  // namespace NSCam
