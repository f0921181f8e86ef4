#pragma once

#include <zeqcam/platform/Visibility.h>

#include <cstdint>
#include <memory>

namespace zeq::hal3a {

// A sensor's control of exposure, focus and white balance. A status of 0 is success.
class ZEQCAM_PLATFORM_API IHal3AAssist {
  public:
    // Empty when the sensor has none.
    static std::shared_ptr<IHal3AAssist> createInstance(unsigned int sensorIndex);

    virtual ~IHal3AAssist() = default;
    virtual std::int32_t notifyPowerOn() = 0;
    virtual std::int32_t notifyPowerOff() = 0;
};

// A sensor's control of its peripherals: lens, flash, stabiliser. A status of 0 is success.
class ZEQCAM_PLATFORM_API IPeripheralController {
  public:
    // Empty when the sensor has none.
    static std::shared_ptr<IPeripheralController> GetInstance(unsigned int sensorIndex);

    virtual ~IPeripheralController() = default;
    virtual std::int32_t notifyPowerOn() = 0;
    virtual std::int32_t notifyPowerOff() = 0;
};

}  // namespace zeq::hal3a
