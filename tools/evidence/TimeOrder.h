#pragma once

#include "evidence/Item.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

namespace zeqcam::tool {

// Passes items on by time, those of one time in the order in which they came. What comes later than kHeld
// other items that are later than it is passed on late: memory is bounded, a file is not.
class TimeOrder final : public ItemSink {
  public:
    // Of a busy phone, that is more than lies between two drains of its processors' buffers.
    static constexpr std::size_t kHeld = 60'000;

    // `sink` outlives it.
    explicit TimeOrder(ItemSink& sink) : mSink(sink) {}

    void take(Item const& item) override { take(item, item.time); }
    // `time` is what counts for the order, on one clock for all; the item's texts are kept.
    void take(Item const& item, std::chrono::nanoseconds time);
    // Passes on all that is left.
    void finish();

  private:
    struct Held {
        std::chrono::nanoseconds time;
        std::size_t item;  // index into mItems
    };

    // Texts that stay where they are.
    class Arena {
      public:
        std::string_view keep(std::string_view text);

      private:
        static constexpr std::size_t kBlock = std::size_t{64} * 1024;
        std::vector<std::unique_ptr<char[]>> mBlocks;
        std::size_t mLeft = 0;
    };

    void hold(Item const& item, std::chrono::nanoseconds time);
    void passOn(std::size_t count);

    ItemSink& mSink;
    std::vector<Held> mHeld;
    std::vector<Item> mItems;
    Arena mTexts;
};

}  // namespace zeqcam::tool
