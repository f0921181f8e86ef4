#include "Device.h"
#include "Draw.h"

#include <zeqcam/platform/IHalSensor.h>

#include <sys/resource.h>

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <new>
#include <span>
#include <string>

namespace zeqcam::board {
namespace {

// A handle is not handed out again before so many others of its sensor have been released after it.
constexpr std::size_t kRetiredHandles = 64;

bool fails(PowerOnFault const& fault, std::uint64_t seed, int id, int powerOns) {
    return fault.always || std::count(fault.times.begin(), fault.times.end(), powerOns) > 0 ||
           (fault.every > 0 && powerOns % fault.every == 0) || happens(fault.probability, seed, id, powerOns);
}

// Whether the switch had nothing to say; else that joins `why`.
bool obeys(std::string const& reason, std::string& why) {
    if (!reason.empty()) why += (why.empty() ? "" : "; ") + reason;
    return reason.empty();
}

}  // namespace

// Every call is noted first, then looked at for faults of its caller.
class SensorHandle final : public NSCam::IHalSensor {
  public:
    SensorHandle(Device& device, ImageSensor& sensor, int id) : mDevice(device), mSensor(sensor), mId(id) {}

    // Makes it the caller's, and keeps the device until it is released.
    void giveTo(char const* caller, std::shared_ptr<Device> device) {
        mCaller = textOf(caller);
        mOpen = std::move(device);
        mPoweredOn.store(false, std::memory_order_relaxed);
        mReleased.store(false, std::memory_order_relaxed);
        mDevice.openHandles.fetch_add(1, std::memory_order_relaxed);
    }

    void release(char const* caller) override {
        InBoard const inside;
        noteCall(Kind::SensorRelease, caller, mId);
        if (!mayCall(caller)) return;
        if (mPoweredOn.load(std::memory_order_relaxed) && mSensor.isPowered()) {
            mDevice.addFault("a handle released while its sensor is powered", mId);
        }
        mReleased.store(true, std::memory_order_relaxed);
        mDevice.openHandles.fetch_sub(1, std::memory_order_relaxed);
        auto const device = std::move(mOpen);  // its end may be this handle's
        mSensor.retire(*this);
    }

    std::int32_t powerOn(char const* caller, std::uint32_t count, std::uint32_t const* indices) override {
        InBoard const inside;
        noteChange(Kind::SensorPowerOn, caller, count, indices,
                   [] { return std::to_string(getpriority(PRIO_PROCESS, 0)); });
        std::string why;
        bool const up =
            mayChange(caller, count, indices) && forEach(count, indices, &ImageSensor::powerOn, why);
        if (up) mPoweredOn.store(true, std::memory_order_relaxed);
        noteCall(Kind::SensorPowerOnDone, caller, first(count, indices), up, why);
        return up ? 1 : 0;
    }

    std::int32_t powerOff(char const* caller, std::uint32_t count, std::uint32_t const* indices) override {
        InBoard const inside;
        noteChange(Kind::SensorPowerOff, caller, count, indices, [] { return std::string(); });
        bool const may = mayChange(caller, count, indices);
        if (may) mPoweredOn.store(false, std::memory_order_relaxed);
        std::string why;
        bool const down = may && forEach(count, indices, &ImageSensor::powerOff, why);
        noteCall(Kind::SensorPowerOffDone, caller, first(count, indices), down, why);
        return down ? 1 : 0;
    }

    std::int32_t afterPowerOn(char const* caller, std::uint32_t index) override {
        InBoard const inside;
        noteCall(Kind::SensorAfterPowerOn, caller, static_cast<int>(index));
        if (mayChange(caller, 1, &index)) throwIfSet(mDevice, mId, Kind::SensorAfterPowerOn);
        return 0;
    }

  private:
    void noteCall(Kind kind, char const* caller, int sensor, std::int64_t number = 0,
                  std::string const& detail = {}) {
        note(mDevice.journal, [&] {
            return Entry{
                .kind = kind, .sensor = sensor, .number = number, .text = textOf(caller), .detail = detail};
        });
    }

    template <class Detail>
    void noteChange(Kind kind, char const* caller, std::uint32_t count, std::uint32_t const* indices,
                    Detail const& detail) {
        note(mDevice.journal, [&] {
            std::vector<int> all;
            if (indices) all.assign(indices, indices + count);
            return Entry{.kind = kind,
                         .sensor = first(count, indices),
                         .number = count,
                         .text = textOf(caller),
                         .detail = detail(),
                         .sensors = std::move(all)};
        });
    }

    [[nodiscard]] int first(std::uint32_t count, std::uint32_t const* indices) const {
        return count > 0 && indices ? static_cast<int>(indices[0]) : mId;
    }

    // False when the call must not be carried out.
    bool mayCall(char const* caller) {
        if (mReleased.load(std::memory_order_relaxed)) {
            mDevice.addFault("a handle used after its release", mId);
            return false;
        }
        if (mCaller != textOf(caller)) mDevice.addFault("a handle used in another caller's name", mId);
        return true;
    }

    bool mayChange(char const* caller, std::uint32_t count, std::uint32_t const* indices) {
        if (!mayCall(caller)) return false;
        if (count == 0 || !indices) {
            mDevice.addFault("a call for no sensor", mId);
            return false;
        }
        bool const onlyOwn = std::all_of(indices, indices + count,
                                         [this](auto index) { return static_cast<int>(index) == mId; });
        if (!onlyOwn) mDevice.addFault("a handle used for another sensor", mId);
        return true;
    }

    // Whether every sensor obeyed; `why` not.
    bool forEach(std::uint32_t count, std::uint32_t const* indices,
                 bool (ImageSensor::*change)(Device&, int, std::string&), std::string& why) {
        bool all = true;
        for (std::uint32_t const index : std::span(indices, count)) {
            int const id = static_cast<int>(index);
            ImageSensor* const sensor = mDevice.sensor(id);
            all = sensor && (sensor->*change)(mDevice, id, why) && all;
        }
        return all;
    }

    Device& mDevice;
    ImageSensor& mSensor;
    int const mId;
    std::string mCaller;
    std::shared_ptr<Device> mOpen;  // empty once it is released
    std::atomic<bool> mReleased = false;
    std::atomic<bool> mPoweredOn = false;  // through this handle, and not off since
};

namespace {

class SensorList final : public NSCam::IHalSensorList {
  public:
    NSCam::IHalSensor* createSensor(char const* caller, int index) override {
        InBoard const inside;
        Device* const device = standing();
        if (!device) return nullptr;
        Sensor const* const settings = device->settingsOf(index);
        bool const throws = settings && settings->throws.count(Kind::SensorCreate) > 0;
        bool const makes = device->settings().hasSensorList && settings && settings->hasHandle && !throws;
        NSCam::IHalSensor* const handle =
            makes ? &device->sensor(index)->makeHandle(device->shared_from_this(), index, caller) : nullptr;
        note(device->journal, [&] {
            return Entry{
                .kind = Kind::SensorCreate, .sensor = index, .number = makes, .text = textOf(caller)};
        });
        throwIfSet(*device, index, Kind::SensorCreate);
        return handle;
    }
};

}  // namespace

ImageSensor::ImageSensor() = default;
ImageSensor::~ImageSensor() = default;

bool ImageSensor::powerOn(Device& device, int id, std::string& why) {
    Sensor const* const settings = device.settingsOf(id);
    if (!settings) return false;
    int nth = 0;
    bool const mayComeUp = beginPowerOn(device, id, *settings, nth);
    Rail::Place const place(device.rail(settings->supply), device, id, settings->supply);
    PowerSwitch* const power = settings->powerSwitch.get();
    {
        std::lock_guard const hold(mLock);
        auto const time = drawn(settings->powerOnTime, device.settings().seed, id, Kind::SensorPowerOn, nth);
        if (!power) takeTime(device, time);
        if (settings->powerOnHangs) hangWhile(device, id, &Sensor::powerOnHangs);
        if (!power) return endPowerOn(mayComeUp);
    }
    bool const up = mayComeUp && obeys(power->powerOn(), why);
    std::lock_guard const hold(mLock);
    return endPowerOn(up);
}

bool ImageSensor::beginPowerOn(Device& device, int id, Sensor const& settings, int& nth) {
    std::lock_guard const hold(mLock);
    if (mAskedOn && (mPowered || mPoweringOn > 0)) {
        device.addFault("power-on of a sensor that is on", id);
    }
    mAskedOn = true;
    throwIfSet(device, id, Kind::SensorPowerOn);
    nth = ++mPowerOns;
    ++mPoweringOn;
    return !fails(settings.powerOnFails, device.settings().seed, id, nth);
}

bool ImageSensor::powerOff(Device& device, int id, std::string& why) {
    Sensor const* const settings = device.settingsOf(id);
    if (!settings) return false;
    PowerSwitch* const power = settings->powerSwitch.get();
    bool const mayGoOff = !settings->powerOffFails;
    {
        std::lock_guard const hold(mLock);
        if (!mAskedOn && !mPowered) device.addFault("power-off of a sensor that is off", id);
        mAskedOn = false;
        throwIfSet(device, id, Kind::SensorPowerOff);
        auto const time =
            drawn(settings->powerOffTime, device.settings().seed, id, Kind::SensorPowerOff, ++mPowerOffs);
        if (!power) takeTime(device, time);
        if (settings->powerOffHangs) hangWhile(device, id, &Sensor::powerOffHangs);
        if (!power) return endPowerOff(mayGoOff);
    }
    bool const down = mayGoOff && obeys(power->powerOff(), why);
    std::lock_guard const hold(mLock);
    return endPowerOff(down);
}

bool ImageSensor::endPowerOn(bool up) {
    --mPoweringOn;
    if (up) mPowered = true;
    return up;
}

bool ImageSensor::endPowerOff(bool down) {
    if (down) mPowered = false;
    return down;
}

bool ImageSensor::isPowered() const {
    std::lock_guard const hold(mLock);
    return mPowered;
}

void ImageSensor::wait(Device const& device, std::chrono::microseconds time) {
    if (time.count() <= 0) return;
    std::lock_guard const hold(mLock);
    takeTime(device, time);
}

void ImageSensor::wake() {
    std::lock_guard const hold(mLock);
    mWoken.notify_all();
}

SensorHandle& ImageSensor::makeHandle(std::shared_ptr<Device> device, int id, char const* caller) {
    std::lock_guard const hold(mLock);
    SensorHandle* handle = nullptr;
    if (mRetired.size() > kRetiredHandles) {
        handle = mRetired.front();
        mRetired.pop_front();
    } else {
        handle = mHandles.emplace_back(std::make_unique<SensorHandle>(*device, *this, id)).get();
    }
    handle->giveTo(caller, std::move(device));
    return *handle;
}

void ImageSensor::retire(SensorHandle& handle) noexcept {
    std::lock_guard const hold(mLock);
    try {
        mRetired.push_back(&handle);
    } catch (std::bad_alloc const&) {  // then it is never handed out again
    }
}

void ImageSensor::hangWhile(Device const& device, int id, bool Sensor::*hangs) {
    auto const stillHangs = [&] {
        Sensor const* const settings = device.settingsOf(id);
        return settings && settings->*hangs && !device.isRetired();
    };
    while (stillHangs()) mWoken.wait(mLock);
}

void ImageSensor::takeTime(Device const& device, std::chrono::microseconds time) {
    auto const end = std::chrono::steady_clock::now() + time;
    while (!device.isRetired() && std::chrono::steady_clock::now() < end) mWoken.wait_until(mLock, end);
}

}  // namespace zeqcam::board

NSCam::IHalSensorList* NSCam::IHalSensorList::get() {
    using namespace zeqcam::board;
    InBoard const inside;
    static SensorList list;
    Device* const device = standing();
    if (!device) return nullptr;
    Settings const& settings = device->settings();
    bool const present =
        !isAbsent(settings.sensorListAbsent, device->sensorListRequests) && settings.hasSensorList;
    note(device->journal, [&] { return Entry{.kind = Kind::SensorListGet, .number = present}; });
    return present ? &list : nullptr;
}
