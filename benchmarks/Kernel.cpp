#include "KernelCounter.h"
#include "SideBySide.h"
#include "Ways.h"

#include <sys/resource.h>
#include <sys/syscall.h>

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace zeqcam::benchmarks {
namespace {

constexpr int kSensors = 3;
constexpr int kCycles = 50;
constexpr std::chrono::milliseconds kThreadsEnd{10};

double voluntarySwitches() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return static_cast<double>(usage.ru_nvcsw);
}

// Cycles, and the ends of their threads, which nobody waits for.
Side counted(Side const& one, std::function<double()> const& meter) {
    auto const job = [one] {
        for (int i = 0; i < kCycles; ++i) one.job();
        std::this_thread::sleep_for(kThreadsEnd);
    };
    return {.name = one.name,
            .job = job,
            .undo = one.undo,
            .operations = kCycles,
            .meter = meter,
            .unit = Unit::Number};
}

std::vector<Side> cyclesBy(std::function<double()> const& meter) {
    Bench const bench = benchOf(kSensors);
    return {counted(cycle(bench, kLibrary), meter),
            withTarget(counted(cycle(bench, kPlainThreads), meter), 1.0)};
}

// What the sequence asks for by name, and all the rest: what threads, locks and memory cost.
std::string const kNamedCalls = [] {
    std::string filter;
    for (int const call : {SYS_getpriority, SYS_setpriority, SYS_gettid, SYS_openat, SYS_write, SYS_close}) {
        filter += (filter.empty() ? "id == " : " || id == ") + std::to_string(call);
    }
    return filter;
}();

// The counter stands before the threads that it counts.
std::vector<Side> systemCalls() {
    auto const calls = std::make_shared<KernelCounter>("raw_syscalls/sys_enter");
    auto const named = std::make_shared<KernelCounter>("raw_syscalls/sys_enter", kNamedCalls);
    return cyclesBy([calls, named] { return calls->read() - named->read(); });
}

}  // namespace

void addKernel(Comparisons& all) {
    all.push_back({.name = "system calls of a cycle of 3 sensors",
                   .sides = systemCalls,
                   .samples = 10,
                   .counts = false});
    all.push_back({.name = "voluntary context switches of a cycle of 3 sensors",
                   .sides = [] { return cyclesBy(voluntarySwitches); },
                   .samples = 10,
                   .counts = false});
}

}  // namespace zeqcam::benchmarks
