#pragma once

#include <zeqcam/IPowerOnOffListener.h>
#include <zeqcam/Visibility.h>

#include <memory>
#include <string>

namespace zeq::hal3a {
class IHal3AAssist;
class IPeripheralController;
}  // namespace zeq::hal3a

namespace NSCam {

/// Ties one sensor's power cycle to its 3A control and its peripheral controller. Takes no lock: its calls
/// never overlap.
class ZEQCAM_API Hal3AListener final : public IPowerOnOffListener {
  public:
    /// sensorIdx: the sensor it serves. name: who makes it; not what getName() reports.
    Hal3AListener(int sensorIdx, std::string name);
    /// Lets go of the services without telling them.
    ~Hal3AListener() override;
    Hal3AListener(Hal3AListener const&) = delete;
    Hal3AListener& operator=(Hal3AListener const&) = delete;

    /// Always "Hal3A".
    std::string getName() override;

    /// Obtains both services and tells each that the sensor is powered, the peripheral controller first. True
    /// when the last one told answered 0; false when there is neither. Called again, it obtains and tells
    /// them anew.
    bool init() override;

    /// Calls no service: init() has told them. Always true.
    bool notifyPowerOn() override;

    /// Tells the services that init() obtained, 3A first, and keeps them. True when the last one told
    /// answered 0, or when there is none.
    bool notifyPowerOff() override;

  private:
    friend struct BoundaryCheck;  // reads the layout at compile time

    int mSensorIdx;
    std::string mName;
    std::shared_ptr<zeq::hal3a::IHal3AAssist> mHal3aCtrl;
    std::shared_ptr<zeq::hal3a::IPeripheralController> mPeripheralCtrl;
};

}  // namespace NSCam
