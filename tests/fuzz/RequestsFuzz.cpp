// Requests and faults of the fuzzer's choosing, on the library and the model side by side.
#include "model/SideBySide.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    std::size_t next = 0;
    zeqcam::tests::SideBySide run(
        [&](unsigned int most) { return next < size ? data[next++] % (most + 1) : 0U; });
    while (next < size) {
        std::string const wrong = run.step();
        if (wrong.empty()) continue;
        std::fprintf(stderr, "%s\n", wrong.c_str());
        std::abort();
    }
    return 0;
}
