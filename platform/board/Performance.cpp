#include "Device.h"

#include <zeqcam/platform/Performance.h>

#include <sched.h>

#include <cerrno>
#include <cstddef>

namespace zeqcam::board {
namespace {

// What the process was given, taken before any thread is moved.
cpu_set_t const gAllowed = [] {
    cpu_set_t allowed;
    CPU_ZERO(&allowed);
    sched_getaffinity(0, sizeof allowed, &allowed);
    return allowed;
}();

cpu_set_t chosen(std::vector<int> const& cpus) {
    if (cpus.empty()) return gAllowed;
    cpu_set_t set;
    CPU_ZERO(&set);
    for (int const cpu : cpus) {
        if (cpu >= 0 && cpu < CPU_SETSIZE) CPU_SET(static_cast<std::size_t>(cpu), &set);
    }
    return set;
}

class PowerBudget final : public NSCam::IPowerBudgetHelper {
  public:
    void requestBudget() override {
        InBoard const inside;
        if (Device* const device = standing()) {
            note(device->journal, [] { return Entry{.kind = Kind::PowerBudget}; });
        }
    }
};

}  // namespace
}  // namespace zeqcam::board

using namespace zeqcam::board;

int zeqcam_perfctrl_set_affinity() {
    InBoard const inside;
    Device* const device = standing();
    if (!device) return -1;
    cpu_set_t const set = chosen(device->settings().affinityCpus);
    int const error = sched_setaffinity(0, sizeof set, &set) == 0 ? 0 : errno;
    note(device->journal, [&] { return Entry{.kind = Kind::Affinity, .number = error}; });
    return error == 0 ? 0 : -1;
}

int C2PSMachine::markCriticalTask() {
    InBoard const inside;
    Device* const device = standing();
    if (!device) return -1;
    note(device->journal, [] { return Entry{.kind = Kind::CriticalTask}; });
    return 0;
}

NSCam::IPowerBudgetHelper* NSCam::IPowerBudgetHelper::getInstance() {
    InBoard const inside;
    static PowerBudget budget;
    Device* const device = standing();
    if (!device) return nullptr;
    Settings const& settings = device->settings();
    bool const present =
        !isAbsent(settings.powerBudgetAbsent, device->powerBudgetRequests) && settings.hasPowerBudget;
    note(device->journal, [&] { return Entry{.kind = Kind::PowerBudgetGet, .number = present}; });
    return present ? &budget : nullptr;
}
