#pragma once

#include <array>
#include <streambuf>

namespace zeqcam::tool {

// Writes to an open file, which somebody else owns.
class DescriptorBuffer final : public std::streambuf {
  public:
    explicit DescriptorBuffer(int file);

    // The error number of the first write that failed, after which none is tried; 0: none did.
    [[nodiscard]] int error() const { return mError; }

  protected:
    int_type overflow(int_type character) override;
    int sync() override;

  private:
    int const mFile;
    int mError = 0;
    std::array<char, 65536> mWaiting{};
};

}  // namespace zeqcam::tool
