// Requests and faults, on threads of the machine: with the sanitizers.
#include "Requests.h"

#include <cstdio>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    std::string const wrong = zeqcam::tests::playRequests({data, size});
    if (wrong.empty()) return 0;
    std::fprintf(stderr, "%s\n", wrong.c_str());
    std::abort();
}
