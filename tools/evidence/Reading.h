#pragma once

#include "evidence/Item.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

// A file from a phone, read once from its begin to its end, whatever its size.
namespace zeqcam::tool {

// Where bytes come from.
class ByteSource {
  public:
    virtual ~ByteSource() = default;
    // Fills up to `most` bytes, at least 1, of `into` and returns how many; waits while there are none and
    // more may come. 0: the end, then and at every later call. Throws std::system_error where reading fails.
    virtual std::size_t read(char* into, std::size_t most) = 0;
};

// A file that is open; `-` is descriptor 0. The descriptor stays the caller's, and open until the last read.
class DescriptorSource final : public ByteSource {
  public:
    explicit DescriptorSource(int descriptor) : mDescriptor(descriptor) {}
    std::size_t read(char* into, std::size_t most) override;

  private:
    int mDescriptor;
};

struct ReadResult {
    Format format = Format::Unknown;
    // Of Unknown: what was found instead and, where a phone can give better, the command for it, to follow a
    // file's name and a colon.
    std::string found;
    // Whether wall times are since 1970. Else their year or zone is not told: they count from 1972, a leap
    // year, as if the zone were UTC, and compare with each other only.
    bool isWallTimeKnown = true;
};

// Told after each block with the bytes taken from the source so far, compressed ones where it is compressed.
// All items of the lines that had ended by then have been taken.
using ReadProgress = std::function<void(std::uint64_t bytes)>;

// Reads all of `input` and gives `sink` what is in it, with `fileIndex` in each place. The format is told by
// content; gzip and zlib are inflated. What is damaged costs no more than itself: items before it and after
// it come, and a Lost item tells of it. Memory does not grow with the input.
//
// Items come in the order of the file, but those of a Perfetto trace and of Trace Events, which are written
// processor by processor or as they end: they come by time, as far apart in the file as a trace has them.
//
// Any thread may call it, one input each. Throws what `input` and `sink` throw.
ReadResult readEvidence(ByteSource& input, std::uint16_t fileIndex, Wanted const& wanted, ItemSink& sink,
                        ReadProgress const& progress = {});

}  // namespace zeqcam::tool
