#pragma once

namespace zeqcam::tests {

// The n-th thread, whoever asks for it, cannot be created while this stands; none fails when n is 0.
class FailsThread {
  public:
    explicit FailsThread(int nth);
    ~FailsThread();
    FailsThread(FailsThread const&) = delete;
    FailsThread& operator=(FailsThread const&) = delete;
};

}  // namespace zeqcam::tests
