#pragma once

#include <zeqcam/ThreadSafety.h>
#include <zeqcam/board/Board.h>
#include <zeqcam/platform/Hal3A.h>

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>

namespace zeqcam::board {

class Device;

// One image sensor of the board: whether it is powered, how often it was powered on, and its one peripheral
// controller. Thread-safe; two power changes at once take their time side by side.
class ImageSensor {
  public:
    // Both take their time and answer whether the sensor obeyed.
    bool powerOn(Device const& device, int id);
    bool powerOff(Device const& device, int id);

    [[nodiscard]] bool isPowered() const;

    // Lets the calls that wait look at the settings again.
    void wake();

    // The peripheral controller that is handed out already, or else a new one.
    std::shared_ptr<zeq::hal3a::IPeripheralController> peripheral(Device& device, int id);

  private:
    void hangWhile(Device const& device, int id, bool Sensor::*hangs) ZEQCAM_REQUIRES(mLock);
    void takeTime(Device const& device, std::chrono::microseconds time) ZEQCAM_REQUIRES(mLock);

    mutable std::mutex mLock;
    std::condition_variable_any mWoken;
    bool mPowered ZEQCAM_GUARDED_BY(mLock) = false;
    int mPowerOns ZEQCAM_GUARDED_BY(mLock) = 0;
    std::weak_ptr<zeq::hal3a::IPeripheralController> mPeripheral ZEQCAM_GUARDED_BY(mLock);
};

}  // namespace zeqcam::board
