#pragma once

#include <zeqcam/ThreadSafety.h>
#include <zeqcam/board/Board.h>
#include <zeqcam/platform/Hal3A.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace zeqcam::board {

class Device;
class SensorHandle;

// One image sensor of the board: whether it is powered, how often it was powered on, and its one peripheral
// controller. Thread-safe; two power changes at once take their time side by side.
class ImageSensor {
  public:
    ImageSensor();
    ~ImageSensor();
    ImageSensor(ImageSensor const&) = delete;
    ImageSensor& operator=(ImageSensor const&) = delete;

    std::atomic<int> hal3aRequests = 0;
    std::atomic<int> peripheralRequests = 0;

    // What its services were told so far.
    std::atomic<int> hal3aPowerOns = 0;
    std::atomic<int> hal3aPowerOffs = 0;
    std::atomic<int> peripheralPowerOns = 0;
    std::atomic<int> peripheralPowerOffs = 0;

    // Both take their time and answer whether the sensor obeyed; what its switch says of a failure joins
    // `why`. A call that no caller may make is a fault.
    bool powerOn(Device& device, int id, std::string& why);
    bool powerOff(Device& device, int id, std::string& why);

    [[nodiscard]] bool isPowered() const;

    // For a service of the sensor, whose calls take their time side by side with the sensor's.
    void wait(Device const& device, std::chrono::microseconds time);

    // Lets the calls that wait look at the settings again.
    void wake();

    // A handle for a caller. It is the sensor's for ever, so that a use after its release is seen.
    SensorHandle& makeHandle(std::shared_ptr<Device> device, int id, char const* caller);
    // The handle was released, and may become another one's when a good many others have been.
    void retire(SensorHandle& handle) noexcept;

    // The peripheral controller that is handed out already, or else a new one.
    std::shared_ptr<zeq::hal3a::IPeripheralController> peripheral(Device& device, int id);

  private:
    // Counts the power-on, and answers whether it will succeed. A fault of its caller is noted.
    bool beginPowerOn(Device& device, int id, Sensor const& settings, int& nth);
    // Both settle whether it is powered, and answer whether it obeyed.
    bool endPowerOn(bool up) ZEQCAM_REQUIRES(mLock);
    bool endPowerOff(bool down) ZEQCAM_REQUIRES(mLock);
    void hangWhile(Device const& device, int id, bool Sensor::*hangs) ZEQCAM_REQUIRES(mLock);
    void takeTime(Device const& device, std::chrono::microseconds time) ZEQCAM_REQUIRES(mLock);

    mutable std::mutex mLock;
    std::condition_variable_any mWoken;
    bool mPowered ZEQCAM_GUARDED_BY(mLock) = false;
    int mPowerOns ZEQCAM_GUARDED_BY(mLock) = 0;
    int mPowerOffs ZEQCAM_GUARDED_BY(mLock) = 0;
    int mPoweringOn ZEQCAM_GUARDED_BY(mLock) = 0;    // power-ons under way
    bool mAskedOn ZEQCAM_GUARDED_BY(mLock) = false;  // by the last power change, whatever became of it
    std::vector<std::unique_ptr<SensorHandle>> mHandles ZEQCAM_GUARDED_BY(mLock);
    std::deque<SensorHandle*> mRetired ZEQCAM_GUARDED_BY(mLock);  // the longest first
    std::weak_ptr<zeq::hal3a::IPeripheralController> mPeripheral ZEQCAM_GUARDED_BY(mLock);
};

}  // namespace zeqcam::board
