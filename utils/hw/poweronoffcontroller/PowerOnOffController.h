#pragma once

#include <zeqcam/IPowerOnOffController.h>
#include <zeqcam/ThreadSafety.h>
#include <zeqcam/Visibility.h>

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

namespace NSCam {

class IHalSensor;
class IPowerOnOffListener;

namespace CTM {
class TaskQueue;
}

/// The sequences behind IPowerOnOffController. Power operations hold mPowerOpLock throughout; mStateLock is
/// taken inside it, for moments only, so that getStatus() answers meanwhile. Sensor ids are keys by their 32
/// bits.
class ZEQCAM_API PowerOnOffController : public IPowerOnOffController {
  public:
    /// A sensor that is powered, or was tried. Released with its controller at the latest.
    struct Data {
        Data() = default;
        /// Listeners go before the sensor that they serve, the last one first.
        ~Data() {
            while (!mListeners.empty()) mListeners.pop_back();
        }
        Data(Data const&) = delete;
        Data& operator=(Data const&) = delete;

        std::shared_ptr<IHalSensor> mHalSensor;  ///< releases its handle through the platform
        std::vector<std::shared_ptr<IPowerOnOffListener>>
            mListeners;  ///< told front to back; empty entries are skipped
    };

    /// A sensor counts as on unless it is PowerOff.
    enum class SensorPowerState : std::uint32_t {
        PowerOff = 0,
        PowerOn = 1,       ///< also when it was tried in vain
        PowerOngoing = 2,  ///< admitted to a power-on that has not ended
    };

    /// A controller of no sensor, without a task queue.
    PowerOnOffController();
    /// As IPowerOnOffController::create.
    explicit PowerOnOffController(CreationInfo const& info);
    ~PowerOnOffController() override;
    PowerOnOffController(PowerOnOffController const&) = delete;
    PowerOnOffController& operator=(PowerOnOffController const&) = delete;

    bool powerOn(std::vector<int> sensorIds) override ZEQCAM_EXCLUDES(mPowerOpLock, mStateLock);
    void powerOff(std::vector<int> sensorIds) override ZEQCAM_EXCLUDES(mPowerOpLock, mStateLock);
    std::unordered_map<unsigned int, bool> getStatus() override ZEQCAM_EXCLUDES(mStateLock);

  private:
    class SettledStates;
    friend struct BoundaryCheck;  // reads the layout at compile time

  protected:
    /// A new record with the sensor's handle and its 3A listener, not yet initialised; filed nowhere. Empty
    /// when the platform has no sensor list or makes no handle.
    std::shared_ptr<Data> createData(int sensorIdx);

    /// Powers the admitted sensors on, all at once. False when a record or a worker could not be made or a
    /// listener refused.
    bool powerOnOps(std::vector<int> const& sensorIds) ZEQCAM_REQUIRES(mPowerOpLock)
        ZEQCAM_EXCLUDES(mStateLock);

    std::string mName =
        "zeqcam-PowerOnOffController";  ///< the caller name: first argument of every sensor call
    std::vector<int> mSensorIds;        ///< as given at creation
    /// Workers and power-off tasks reach records without it: the thread that holds it waits for them.
    std::mutex mPowerOpLock ZEQCAM_ACQUIRED_BEFORE(mStateLock);
    /// A record stands from its sensor's power-on to its power-off.
    std::unordered_map<unsigned int, std::shared_ptr<Data>> mDataMap ZEQCAM_GUARDED_BY(mPowerOpLock);
    /// Held for moments only, never across a call on a sensor or a listener.
    std::mutex mStateLock;
    /// Its keys stand from creation to destruction; only the states change.
    std::unordered_map<unsigned int, SensorPowerState> mStateMap ZEQCAM_GUARDED_BY(mStateLock);
    std::shared_ptr<CTM::TaskQueue> mTaskQueue;  ///< empty when the platform could not make it
};

}  // namespace NSCam
