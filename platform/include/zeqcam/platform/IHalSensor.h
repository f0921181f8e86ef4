#pragma once

#include <zeqcam/platform/Visibility.h>

#include <cstdint>

namespace NSCam {

// A handle on one image sensor. It is released through `release`, never deleted.
class ZEQCAM_PLATFORM_API IHalSensor {
  public:
    virtual void reserved0() {}
    virtual void reserved1() {}
    virtual void release(char const* caller) = 0;
    virtual void reserved3() {}
    virtual void reserved4() {}
    // Zero means that the sensors did not come up.
    virtual std::int32_t powerOn(char const* caller, std::uint32_t count, std::uint32_t const* indices) = 0;
    virtual std::int32_t powerOff(char const* caller, std::uint32_t count, std::uint32_t const* indices) = 0;
    virtual void reserved7() {}
    virtual void reserved8() {}
    virtual void reserved9() {}
    virtual void reserved10() {}
    virtual void reserved11() {}
    // Called once after each power-on that succeeded.
    virtual std::int32_t afterPowerOn(char const* caller, std::uint32_t index) = 0;

  protected:
    ~IHalSensor() = default;
};

// The process's list of sensors.
class ZEQCAM_PLATFORM_API IHalSensorList {
  public:
    // Null when there is none.
    static IHalSensorList* get();

    virtual void reserved0() {}
    virtual void reserved1() {}
    virtual void reserved2() {}
    virtual void reserved3() {}
    virtual void reserved4() {}
    virtual void reserved5() {}
    virtual void reserved6() {}
    virtual void reserved7() {}
    virtual void reserved8() {}
    virtual void reserved9() {}
    virtual void reserved10() {}
    virtual void reserved11() {}
    virtual void reserved12() {}
    virtual void reserved13() {}
    virtual void reserved14() {}
    // Null when the list cannot make a handle for that index.
    virtual IHalSensor* createSensor(char const* caller, int index) = 0;

  protected:
    ~IHalSensorList() = default;
};

}  // namespace NSCam
