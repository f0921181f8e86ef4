#pragma once

// Faults of the process: the n-th allocation made outside the board, or the n-th thread, cannot be had. Both
// are armed for one scope and for all threads.
namespace zeqcam::tests {

class FailsAllocation {
  public:
    explicit FailsAllocation(int nth);
    ~FailsAllocation();
    FailsAllocation(FailsAllocation const&) = delete;
    FailsAllocation& operator=(FailsAllocation const&) = delete;
    // Whether the allocation has come and failed.
    [[nodiscard]] bool struck() const;
};

class FailsThread {
  public:
    explicit FailsThread(int nth);
    ~FailsThread();
    FailsThread(FailsThread const&) = delete;
    FailsThread& operator=(FailsThread const&) = delete;
};

}  // namespace zeqcam::tests
