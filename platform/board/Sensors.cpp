#include "Device.h"

#include <zeqcam/platform/IHalSensor.h>

#include <sys/resource.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <span>

namespace zeqcam::board {
namespace {

// Drawn from the seed, the sensor and the number of the power-on alone: which power-ons fail does not depend
// on how threads interleave.
bool failsByChance(double probability, std::uint64_t seed, int id, int powerOns) {
    if (probability <= 0.0) return false;
    std::seed_seq mixed{static_cast<std::uint32_t>(seed), static_cast<std::uint32_t>(seed >> 32),
                        static_cast<std::uint32_t>(id), static_cast<std::uint32_t>(powerOns)};
    std::mt19937_64 random(mixed);
    return static_cast<double>(random() >> 11) * 0x1p-53 < probability;
}

bool fails(PowerOnFault const& fault, std::uint64_t seed, int id, int powerOns) {
    return fault.always || std::count(fault.times.begin(), fault.times.end(), powerOns) > 0 ||
           failsByChance(fault.probability, seed, id, powerOns);
}

class SensorHandle final : public NSCam::IHalSensor {
  public:
    SensorHandle(std::shared_ptr<Device> device, int id) : mDevice(std::move(device)), mId(id) {
        mDevice->openHandles.fetch_add(1, std::memory_order_relaxed);
    }

    void release(char const* caller) override {
        InBoard const inside;
        noteCall(Kind::SensorRelease, caller, mId);
        delete this;
    }

    std::int32_t powerOn(char const* caller, std::uint32_t count, std::uint32_t const* indices) override {
        InBoard const inside;
        note(mDevice->journal, [&] {
            return Entry{.kind = Kind::SensorPowerOn,
                         .sensor = first(count, indices),
                         .number = count,
                         .text = textOf(caller),
                         .detail = std::to_string(getpriority(PRIO_PROCESS, 0))};
        });
        bool const up = forEach(count, indices, &ImageSensor::powerOn);
        noteCall(Kind::SensorPowerOnDone, caller, first(count, indices), up);
        return up ? 1 : 0;
    }

    std::int32_t powerOff(char const* caller, std::uint32_t count, std::uint32_t const* indices) override {
        InBoard const inside;
        noteCall(Kind::SensorPowerOff, caller, first(count, indices), count);
        bool const down = forEach(count, indices, &ImageSensor::powerOff);
        noteCall(Kind::SensorPowerOffDone, caller, first(count, indices), down);
        return down ? 1 : 0;
    }

    std::int32_t afterPowerOn(char const* caller, std::uint32_t index) override {
        InBoard const inside;
        noteCall(Kind::SensorAfterPowerOn, caller, static_cast<int>(index));
        return 0;
    }

  private:
    ~SensorHandle() { mDevice->openHandles.fetch_sub(1, std::memory_order_relaxed); }

    void noteCall(Kind kind, char const* caller, int sensor, std::int64_t number = 0) {
        note(mDevice->journal,
             [&] { return Entry{.kind = kind, .sensor = sensor, .number = number, .text = textOf(caller)}; });
    }

    [[nodiscard]] int first(std::uint32_t count, std::uint32_t const* indices) const {
        return count > 0 && indices ? static_cast<int>(indices[0]) : mId;
    }

    // Whether there was at least one sensor to change and every one obeyed.
    bool forEach(std::uint32_t count, std::uint32_t const* indices,
                 bool (ImageSensor::*change)(Device const&, int)) {
        if (count == 0 || !indices) return false;
        bool all = true;
        for (std::uint32_t const index : std::span(indices, count)) {
            int const id = static_cast<int>(index);
            ImageSensor* const sensor = mDevice->sensor(id);
            all = sensor && (sensor->*change)(*mDevice, id) && all;
        }
        return all;
    }

    std::shared_ptr<Device> const mDevice;
    int const mId;
};

class SensorList final : public NSCam::IHalSensorList {
  public:
    NSCam::IHalSensor* createSensor(char const* caller, int index) override {
        InBoard const inside;
        Device* const device = standing();
        if (!device) return nullptr;
        Sensor const* const settings = device->settingsOf(index);
        bool const makes = device->settings().hasSensorList && settings && settings->hasHandle;
        NSCam::IHalSensor* const handle =
            makes ? new SensorHandle(device->shared_from_this(), index) : nullptr;
        note(device->journal, [&] {
            return Entry{
                .kind = Kind::SensorCreate, .sensor = index, .number = makes, .text = textOf(caller)};
        });
        return handle;
    }
};

}  // namespace

bool ImageSensor::powerOn(Device const& device, int id) {
    Sensor const* const settings = device.settingsOf(id);
    if (!settings) return false;
    std::lock_guard const hold(mLock);
    bool const up = !fails(settings->powerOnFails, device.settings().seed, id, ++mPowerOns);
    takeTime(device, settings->powerOnTime);
    if (settings->powerOnHangs) hangWhile(device, id, &Sensor::powerOnHangs);
    if (up) mPowered = true;
    return up;
}

bool ImageSensor::powerOff(Device const& device, int id) {
    Sensor const* const settings = device.settingsOf(id);
    if (!settings) return false;
    std::lock_guard const hold(mLock);
    takeTime(device, settings->powerOffTime);
    if (settings->powerOffHangs) hangWhile(device, id, &Sensor::powerOffHangs);
    if (!settings->powerOffFails) mPowered = false;
    return !settings->powerOffFails;
}

bool ImageSensor::isPowered() const {
    std::lock_guard const hold(mLock);
    return mPowered;
}

void ImageSensor::wake() {
    std::lock_guard const hold(mLock);
    mWoken.notify_all();
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
    bool const present = device->settings().hasSensorList;
    note(device->journal, [&] { return Entry{.kind = Kind::SensorListGet, .number = present}; });
    return present ? &list : nullptr;
}
