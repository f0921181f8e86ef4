// Requests and faults in the simulation: the first bytes seed the order of the threads. So an input repeats a
// failure exactly, and a deadlock is one at once.
#include "Requests.h"

#include <zeqcam/simulation/Simulation.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

namespace simulation = zeqcam::simulation;

simulation::Result play(std::span<std::uint8_t const> bytes) {
    std::uint32_t seed = 0;
    std::memcpy(&seed, bytes.data(), sizeof seed);
    auto const body = [requests = bytes.subspan(sizeof seed)] {
        std::string const wrong = zeqcam::tests::playRequests(requests);
        if (!wrong.empty()) simulation::fail(wrong);
    };
    return simulation::run(body, seed);
}

}  // namespace

// What a process does once is done before the first input, whichever that is.
extern "C" int LLVMFuzzerInitialize(int*, char***) {
    std::array<std::uint8_t, 512> bytes{};
    for (std::size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<std::uint8_t>(i * 7);
    play(bytes);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    if (size < sizeof(std::uint32_t)) return 0;
    simulation::Result const result = play({data, size});
    if (result.holds()) return 0;
    std::fprintf(stderr, "%s by \"%s\"\n%s\n", std::string(nameOf(result.ending)).c_str(),
                 result.schedule.c_str(), result.report.c_str());
    std::abort();
}
