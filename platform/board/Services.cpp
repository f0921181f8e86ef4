#include "Device.h"
#include "Draw.h"

#include <zeqcam/platform/Hal3A.h>

#include <optional>

namespace zeqcam::board {
namespace {

// What tells the two services of a sensor apart.
struct Hal3A {
    using Interface = zeq::hal3a::IHal3AAssist;
    static constexpr auto kSettings = &Sensor::hal3a;
    static constexpr auto kAbsent = &Sensor::hal3aAbsent;
    static constexpr auto kRequests = &ImageSensor::hal3aRequests;
    static constexpr auto kPowerOns = &ImageSensor::hal3aPowerOns;
    static constexpr auto kPowerOffs = &ImageSensor::hal3aPowerOffs;
    static constexpr Kind kGet = Kind::Hal3AGet;
    static constexpr Kind kPowerOn = Kind::Hal3APowerOn;
    static constexpr Kind kPowerOff = Kind::Hal3APowerOff;
    static constexpr Kind kRelease = Kind::Hal3ARelease;
};

struct Peripheral {
    using Interface = zeq::hal3a::IPeripheralController;
    static constexpr auto kSettings = &Sensor::peripheral;
    static constexpr auto kAbsent = &Sensor::peripheralAbsent;
    static constexpr auto kRequests = &ImageSensor::peripheralRequests;
    static constexpr auto kPowerOns = &ImageSensor::peripheralPowerOns;
    static constexpr auto kPowerOffs = &ImageSensor::peripheralPowerOffs;
    static constexpr Kind kGet = Kind::PeripheralGet;
    static constexpr Kind kPowerOn = Kind::PeripheralPowerOn;
    static constexpr Kind kPowerOff = Kind::PeripheralPowerOff;
    static constexpr Kind kRelease = Kind::PeripheralRelease;
};

constexpr std::int32_t kServiceGone = -1;

template <class Traits>
std::optional<Service> settingsOf(Device const& device, int sensor) {
    Sensor const* const settings = device.settingsOf(sensor);
    return settings ? settings->*Traits::kSettings : std::nullopt;
}

// To be asked once for each request.
template <class Traits>
bool isProvided(Device const& device, int id) {
    ImageSensor* const sensor = device.sensor(id);
    Sensor const* const settings = device.settingsOf(id);
    return sensor && settings && !isAbsent(settings->*Traits::kAbsent, sensor->*Traits::kRequests) &&
           settings->*Traits::kSettings;
}

template <class Traits>
class SensorService final : public Traits::Interface {
  public:
    SensorService(std::shared_ptr<Device> device, int sensor) : mDevice(std::move(device)), mSensor(sensor) {
        mDevice->openServices.fetch_add(1, std::memory_order_relaxed);
    }
    ~SensorService() override {
        InBoard const inside;
        noteCall(Traits::kRelease, 0);
        mDevice->openServices.fetch_sub(1, std::memory_order_relaxed);
    }
    SensorService(SensorService const&) = delete;
    SensorService& operator=(SensorService const&) = delete;

    std::int32_t notifyPowerOn() override {
        return answer(Traits::kPowerOn, Traits::kPowerOns, &Service::onStatus, &Service::onTime);
    }
    std::int32_t notifyPowerOff() override {
        return answer(Traits::kPowerOff, Traits::kPowerOffs, &Service::offStatus, &Service::offTime);
    }

  private:
    std::int32_t answer(Kind kind, std::atomic<int> ImageSensor::*calls, std::int32_t Service::*status,
                        TimeRange Service::*time) {
        InBoard const inside;
        std::optional<Service> const settings = settingsOf<Traits>(*mDevice, mSensor);
        std::int32_t const result = settings ? (*settings).*status : kServiceGone;
        noteCall(kind, result);
        throwIfSet(*mDevice, mSensor, kind);
        if (ImageSensor* const sensor = settings ? mDevice->sensor(mSensor) : nullptr) {
            int const nth = (sensor->*calls).fetch_add(1, std::memory_order_relaxed) + 1;
            sensor->wait(*mDevice, drawn((*settings).*time, mDevice->settings().seed, mSensor, kind, nth));
        }
        return result;
    }

    void noteCall(Kind kind, std::int32_t number) {
        note(mDevice->journal, [&] { return Entry{.kind = kind, .sensor = mSensor, .number = number}; });
    }

    std::shared_ptr<Device> const mDevice;
    int const mSensor;
};

// `make` is asked when the sensor has the service.
template <class Traits, class Make>
std::shared_ptr<typename Traits::Interface> get(unsigned int sensorIndex, Make const& make) {
    InBoard const inside;
    Device* const device = standing();
    if (!device) return {};
    int const sensor = static_cast<int>(sensorIndex);
    std::shared_ptr<typename Traits::Interface> service;
    if (isProvided<Traits>(*device, sensor)) service = make(*device, sensor);
    note(device->journal,
         [&] { return Entry{.kind = Traits::kGet, .sensor = sensor, .number = service != nullptr}; });
    throwIfSet(*device, sensor, Traits::kGet);
    return service;
}

}  // namespace

std::shared_ptr<zeq::hal3a::IPeripheralController> ImageSensor::peripheral(Device& device, int id) {
    std::lock_guard const hold(mLock);
    auto handedOut = mPeripheral.lock();
    if (!handedOut) {
        handedOut = std::make_shared<SensorService<Peripheral>>(device.shared_from_this(), id);
        mPeripheral = handedOut;
    }
    return handedOut;
}

}  // namespace zeqcam::board

namespace zeq::hal3a {

using namespace zeqcam::board;

std::shared_ptr<IHal3AAssist> IHal3AAssist::createInstance(unsigned int sensorIndex) {
    return get<Hal3A>(sensorIndex, [](Device& device, int sensor) {
        return std::make_shared<SensorService<Hal3A>>(device.shared_from_this(), sensor);
    });
}

std::shared_ptr<IPeripheralController> IPeripheralController::GetInstance(unsigned int sensorIndex) {
    return get<Peripheral>(sensorIndex, [](Device& device, int sensor) {
        return device.sensor(sensor)->peripheral(device, sensor);
    });
}

}  // namespace zeq::hal3a
