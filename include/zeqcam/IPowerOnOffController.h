#pragma once

#include <zeqcam/Visibility.h>

#include <memory>
#include <unordered_map>
#include <vector>

/// Sensor power and what depends on it.
namespace NSCam {

/// Powers image sensors on and off, for the sensors that it was created for.
///
/// Threads: every operation may be called on any thread at any time, but for the destructor. Power-on and
/// power-off requests on one controller run one at a time, in no promised order; requests on different
/// controllers run at once. No operation may be called from a listener, a sensor or a service that the
/// library is calling.
///
/// Failures: a power-on or power-off may throw what a listener throws, and what the standard library throws
/// when memory cannot be had. The controller then stays usable: neither it nor its sensors are locked, the
/// calling thread's priority is as it was, no work of the call is still running.
class ZEQCAM_API IPowerOnOffController {
  public:
    /// What a controller is made for.
    struct CreationInfo {
        /// The sensors that the controller may drive, any signed 32-bit ids in any order. A repeated id
        /// counts once.
        std::vector<int> sensorIds;
    };

    /// Makes a controller that knows every listed sensor as off. Never empty. Touches no sensor; makes the
    /// controller's task queue on the platform, and works without one where the platform makes none. Throws
    /// only what the standard library throws. Several controllers may be made for the same sensor; nothing
    /// keeps their requests for it apart, so whoever makes them does.
    static std::shared_ptr<IPowerOnOffController> create(CreationInfo const& info);

    /// Waits until no power-on in this process holds the process-wide power-on lock, or until a power-off has
    /// released it since the call began, even if another power-on has taken it again. A power-on that finds
    /// the lock free takes it and keeps it beyond its return; a power-off that leaves its controller without
    /// a powered sensor releases it, and so does the destruction of the controller that holds it. Returns at
    /// once when the lock is free. Waits without a time limit: whoever waits guarantees that another thread
    /// powers off.
    static void waitSensorsPowerOff();

    /// Tells the listeners of every sensor that has a record still, powers it off and releases its handle,
    /// one after another on the calling thread; what a listener throws is lost, and keeps nothing from going
    /// on. Frees the process-wide power-on lock if a power-on of this controller holds it. The caller
    /// guarantees that no operation of this controller is running.
    virtual ~IPowerOnOffController();

    /// Powers on all listed sensors that are off, at once, and returns when the slowest is done and the
    /// listeners have been told, however long the sensors take. Skips a sensor that is on already, a repeated
    /// id, and an id that the controller was not created for. An empty list is true at once and changes
    /// nothing.
    ///
    /// Makes one attempt on the process-wide power-on lock first, and then waits for the power-on or
    /// power-off that runs on this controller. A lock that is held keeps nobody from powering on, and the
    /// attempt is not repeated: a power-on that comes while the controller's last sensors are being powered
    /// off finds the lock held, and then powers its sensors on without it, since that power-off has released
    /// it meanwhile. waitSensorsPowerOff() does not wait for such a power-on.
    ///
    /// True when every listener accepted, or when there was nothing to do. False when a sensor's record could
    /// not be made (then no sensor is powered), a worker thread could not be created (then some sensors are
    /// powered and no listener is told), or a listener refused. A sensor that fails to power on is logged and
    /// raised as an exception report, and does not change the result.
    ///
    /// Whatever the result, the skipped and the admitted sensors count as on afterwards: power them off
    /// before the next attempt. The calling thread runs at the nice value -20 meanwhile, where it may.
    virtual bool powerOn(std::vector<int> sensorIds) = 0;

    /// Tells the listeners of all listed sensors, powers the sensors off and releases their handles; returns
    /// when all is done. Waits first for the power-on or power-off that runs on this controller. An empty
    /// list changes nothing. With two or more ids the work runs on the controller's task queue, with one on
    /// the calling thread. An id listed n times is told and powered off n times. A sensor that is off already
    /// stays off; an id that the controller was not created for is passed over. Refusals of sensors and
    /// listeners are not looked at: every listed sensor counts as off afterwards. Nor does a listener that
    /// throws keep a sensor powered: the others are told, every listed sensor goes off, and then the first
    /// exception is passed on. A sensor whose own power-off throws stays as it was. Where memory cannot be
    /// had the call may throw before it has begun; the sensors are then as they were, and the same call may
    /// be made again.
    virtual void powerOff(std::vector<int> sensorIds) = 0;

    /// One entry for each sensor that the controller was created for, with the id's 32 bits as its key: true
    /// when the sensor is on or a running power-on has admitted it. Never waits for a power-on or power-off.
    virtual std::unordered_map<unsigned int, bool> getStatus() = 0;
};

}  // namespace NSCam
