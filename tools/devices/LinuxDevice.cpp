#include "devices/LinuxDevice.h"

#include "text/TimeText.h"

#include <optional>
#include <system_error>
#include <thread>

namespace zeqcam::tool {
namespace {

using Clock = std::chrono::steady_clock;

// The kernel tells nobody that the status has changed: whoever waits looks again and again.
constexpr std::chrono::milliseconds kBetweenLooks{1};

constexpr char const* kRunIsOver = "the run is over";

}  // namespace

std::string LinuxDevice::powerOn() {
    return changed([this] {
        RuntimePower::Policy policy;
        policy.control = "on";
        mDevice.setPolicy(policy);
        std::string why = await("active", "");
        if (!why.empty()) giveBack();
        return why;
    });
}

std::string LinuxDevice::powerOff() {
    return changed([this] {
        giveBack();
        return awaitSuspended();
    });
}

void LinuxDevice::giveBack() {
    RuntimePower::Policy policy = mDevice.policy();
    policy.control = "auto";
    if (policy.delay) policy.delay = "0";
    mDevice.setPolicy(policy);
}

std::string LinuxDevice::awaitSuspended() {
    return await("suspended", ": somebody uses it");
}

void LinuxDevice::retire() {
    mRetired.store(true);
    std::lock_guard const noneIsUnderWay(mLock);
}

template <class Change>
std::string LinuxDevice::changed(Change const& change) {
    std::lock_guard const hold(mLock);
    if (mRetired.load()) return kRunIsOver;
    try {
        return change();
    } catch (std::system_error const& error) {
        return error.what();
    }
}

std::string LinuxDevice::await(char const* status, char const* otherwise) {
    for (auto const end = Clock::now() + mTimeout;; std::this_thread::sleep_for(kBetweenLooks)) {
        bool const isLastLook = Clock::now() >= end;
        std::string const now = mDevice.status();
        if (now == status) return {};
        if (now == "error") return "power/runtime_status is error: its driver has failed";
        if (mRetired.load()) return kRunIsOver;
        if (isLastLook) return "still " + now + " after " + timeText(mTimeout) + otherwise;
    }
}

}  // namespace zeqcam::tool
