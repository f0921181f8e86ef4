#include "Device.h"

#include <unistd.h>

#include <algorithm>
#include <stdexcept>

namespace zeqcam::board {

namespace {

std::uint64_t nextSerial() {
    static std::atomic<std::uint64_t> last = 0;
    return last.fetch_add(1, std::memory_order_relaxed) + 1;
}

}  // namespace

constinit thread_local bool tInBoard = false;

Device::Device(Settings settings) : serial(nextSerial()) {
    std::lock_guard const hold(mChanging);
    publish(std::make_unique<Version>(Version{std::move(settings), {}, {}}));
}

Sensor const* Device::settingsOf(int sensor) const {
    auto const& sensors = settings().sensors;
    auto const found = sensors.find(sensor);
    return found == sensors.end() ? nullptr : &found->second;
}

ImageSensor* Device::sensor(int id) const {
    auto const& sensors = present().sensors;
    auto const found = sensors.find(id);
    return found == sensors.end() ? nullptr : found->second.get();
}

std::shared_ptr<Rail> Device::rail(std::string const& supply) const {
    auto const& rails = present().rails;
    auto const found = rails.find(supply);
    return found == rails.end() ? nullptr : found->second;
}

void Device::change(std::function<void(Settings&)> const& edit) {
    std::lock_guard const hold(mChanging);
    auto edited = std::make_unique<Version>(present());
    edit(edited->settings);
    publish(std::move(edited));
    setLogControls(settings().log);
    wake();
}

void Device::retire() {
    mRetired.store(true, std::memory_order_release);
    wake();
    std::vector<std::weak_ptr<WorkQueue>> queues;
    {
        std::lock_guard const hold(mQueuesLock);
        queues = mQueues;
    }
    for (auto const& weak : queues) {
        if (auto const queue = weak.lock()) queue->hurry();
    }
    for (Task const& task : takeHeld()) noteDropped(*this, task);
}

void Device::publish(std::unique_ptr<Version> version) {
    for (auto const& [id, settings] : version->settings.sensors) {
        if (auto& sensor = version->sensors[id]; !sensor) sensor = std::make_shared<ImageSensor>();
    }
    for (auto const& [name, settings] : version->settings.supplies) {
        if (auto& rail = version->rails[name]; !rail) rail = std::make_shared<Rail>();
    }
    mVersions.push_back(std::move(version));
    mPresent.store(mVersions.back().get(), std::memory_order_release);
}

void Device::wake() {
    for (auto const& [id, sensor] : present().sensors) sensor->wake();
    for (auto const& [name, rail] : present().rails) rail->wake();
    std::lock_guard const hold(mQosLock);
    mQosGoesOn.notify_all();
}

void Device::add(std::shared_ptr<WorkQueue> const& queue) {
    std::lock_guard const hold(mQueuesLock);
    std::erase_if(mQueues, [](auto const& weak) { return weak.expired(); });
    mQueues.push_back(queue);
}

void Device::hold(Task task) {
    std::lock_guard const hold(mQueuesLock);
    mHeld.push_back(std::move(task));
}

std::vector<Task> Device::takeHeld() {
    std::lock_guard const hold(mQueuesLock);
    return std::exchange(mHeld, {});
}

void Device::add(ExceptionReport report) {
    std::lock_guard const hold(mReportsLock);
    mReports.push_back(std::move(report));
}

std::vector<ExceptionReport> Device::exceptionReports() const {
    std::lock_guard const hold(mReportsLock);
    return mReports;
}

void Device::addFault(char const* what, int sensor) noexcept {
    note(journal, [&] { return Entry{.kind = Kind::CallerFault, .sensor = sensor, .text = what}; });
    withoutThrowing([&] {
        std::lock_guard const hold(mFaultsLock);
        mFaults.push_back({what, sensor, gettid(), std::chrono::steady_clock::now()});
    });
}

std::vector<CallerFault> Device::callerFaults() const {
    std::lock_guard const hold(mFaultsLock);
    return mFaults;
}

void Device::hangQosWrite() {
    std::lock_guard const hold(mQosLock);
    while (settings().qosWrites.hang && !isRetired()) mQosGoesOn.wait(mQosLock);
}

bool isAbsent(std::vector<int> const& absent, std::atomic<int>& requests) {
    int const nth = requests.fetch_add(1, std::memory_order_relaxed) + 1;
    return std::count(absent.begin(), absent.end(), nth) > 0;
}

void throwIfSet(Device const& device, int sensor, Kind call) {
    Sensor const* const settings = device.settingsOf(sensor);
    if (settings && settings->throws.count(call) > 0) {
        throw std::runtime_error(std::string(nameOf(call)) + " of sensor " + std::to_string(sensor) +
                                 " is set to throw");
    }
}

}  // namespace zeqcam::board
