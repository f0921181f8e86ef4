#pragma once

#include <unistd.h>

#include <utility>

namespace zeqcam::tool {

// Owns an open file.
class Descriptor {
  public:
    explicit Descriptor(int descriptor) : mDescriptor(descriptor) {}
    ~Descriptor() {
        if (mDescriptor >= 0) close(mDescriptor);
    }
    Descriptor(Descriptor&& other) noexcept : mDescriptor(std::exchange(other.mDescriptor, -1)) {}
    Descriptor& operator=(Descriptor&&) = delete;

    [[nodiscard]] int get() const { return mDescriptor; }

  private:
    int mDescriptor;
};

}  // namespace zeqcam::tool
