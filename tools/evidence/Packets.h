#pragma once

#include "evidence/Bytes.h"

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace zeqcam::tool {

// The packets of a Perfetto trace, one after another. What is between two and none of them is passed over.
class Packets {
  public:
    // Whether a file that begins so is such a trace.
    static bool isTrace(std::string_view begin);

    explicit Packets(Bytes& bytes) : mBytes(bytes) {}

    // To the next packet; false: there is none.
    bool next();

    // Of the packet: valid until the next one.
    [[nodiscard]] std::string_view content() const { return mContent; }
    // Whether all of it is there: the last one may be cut.
    [[nodiscard]] bool isWhole() const { return mIsWhole; }
    // How many bytes before it, or before the end, were none of a packet.
    [[nodiscard]] std::uint64_t damaged() const { return mDamaged; }

  private:
    bool take();
    std::size_t beginOfNext();

    Bytes& mBytes;
    std::string_view mContent;
    std::size_t mUsed = 0;  // bytes of the packet, from where mBytes is
    std::uint64_t mDamaged = 0;
    bool mIsWhole = true;
};

}  // namespace zeqcam::tool
