// Scenario files of the fuzzer's making. Whatever the reader refuses, it says why.
#include "scenario/ScenarioReader.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    auto const reading = zeqcam::tool::readScenario({reinterpret_cast<char const*>(data), size});
    for (auto const& fault : reading.faults) {
        if (fault.message.empty() || fault.line < 0) std::abort();
    }
    if (reading.faults.empty() && reading.scenario.clients.empty()) std::abort();
    return 0;
}
