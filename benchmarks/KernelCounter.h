#pragma once

#include <string>

namespace zeqcam::benchmarks {

// How often a tracepoint of the kernel is passed by the calling thread and by every thread that is made under
// it while the counter stands.
class KernelCounter {
  public:
    // `tracepoint` is its folder below the kernel's `events`, `filter` what the kernel's own language says of
    // its fields. Throws std::system_error where this process may not count.
    explicit KernelCounter(std::string const& tracepoint, std::string const& filter = {});
    ~KernelCounter();
    KernelCounter(KernelCounter const&) = delete;
    KernelCounter& operator=(KernelCounter const&) = delete;

    [[nodiscard]] double read() const;

  private:
    int mDescriptor = -1;
};

}  // namespace zeqcam::benchmarks
