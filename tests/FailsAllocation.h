#pragma once

namespace zeqcam::tests {

// The n-th allocation made outside the board, on whatever thread, cannot be had while this stands.
class FailsAllocation {
  public:
    explicit FailsAllocation(int nth);
    ~FailsAllocation();
    FailsAllocation(FailsAllocation const&) = delete;
    FailsAllocation& operator=(FailsAllocation const&) = delete;
    // Whether the allocation has come and failed.
    [[nodiscard]] bool struck() const;
};

}  // namespace zeqcam::tests
