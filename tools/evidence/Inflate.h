#pragma once

#include "evidence/Bytes.h"

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

namespace zeqcam::tool {

// Whether this build has zlib.
bool canInflate();

// Whether bytes begin as gzip or zlib data do.
bool isCompressed(std::string_view begin);

// What gzip or zlib data hold, whatever they are made of; gzip's members one after another.
class InflatedSource final : public ByteSource {
  public:
    // `compressed` outlives it.
    explicit InflatedSource(Bytes& compressed);
    InflatedSource(InflatedSource const&) = delete;
    InflatedSource& operator=(InflatedSource const&) = delete;
    ~InflatedSource() override;

    // Ends early at data that are cut or damaged.
    std::size_t read(char* into, std::size_t most) override;
    // Why it ended early: "the compressed data are cut". Empty: it did not.
    [[nodiscard]] std::string const& fault() const { return mFault; }

  private:
    struct Stream;

    std::unique_ptr<Stream> mStream;
    std::string mFault;
};

}  // namespace zeqcam::tool
