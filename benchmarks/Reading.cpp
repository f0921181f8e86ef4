// What reading a file from a phone costs: its items, seconds of processor and most memory.
#include "evidence/Reading.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

namespace {

using namespace zeqcam::tool;

class Counter final : public ItemSink {
  public:
    void take(Item const&) override { ++items; }

    unsigned long items = 0;
};

double secondsOf(timeval const& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: zeqcam-bench-reading FILE\n");
        return EXIT_FAILURE;
    }
    int const file = open(argv[1], O_RDONLY | O_CLOEXEC);
    if (file < 0) {
        std::perror(argv[1]);
        return EXIT_FAILURE;
    }
    Counter counter;
    DescriptorSource source(file);
    Wanted const wanted{.tag = [](std::string_view tag) {
        return tag == "zeqcam-PowerOnOffController" || tag == "ZeqCam/Hal3AListener";
    }};
    ReadResult const result = readEvidence(source, 0, wanted, counter);
    close(file);
    if (result.format == Format::Unknown) {
        std::fprintf(stderr, "%s: %s\n", argv[1], result.found.c_str());
        return EXIT_FAILURE;
    }
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    std::printf("%lu items %.2f s %ld MiB\n", counter.items,
                secondsOf(usage.ru_utime) + secondsOf(usage.ru_stime), usage.ru_maxrss / 1024);
    return EXIT_SUCCESS;
}
