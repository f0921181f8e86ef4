#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>
#include <string_view>
#include <unordered_map>

namespace zeqcam::tool {

// A text of a record: its place among the record's Texts. `Empty` is the empty text of every record.
enum class TextId : std::uint32_t { Empty = 0 };

// The texts of a record, each held once however often it happened: a million events say a few hundred things.
// For one thread; moved, never copied. What `of` returns lives as long as the texts, through every addition
// and through a move.
class Texts {
  public:
    Texts() = default;
    Texts(Texts&&) = default;
    Texts& operator=(Texts&&) = default;

    // The same id for the same bytes. Any bytes: nothing says that they are UTF-8 or printable.
    TextId add(std::string_view text);

    // `id` is one that `add` of these texts has returned, or Empty.
    [[nodiscard]] std::string_view of(TextId id) const;

    // How many there are, the empty one apart.
    [[nodiscard]] std::size_t size() const { return mTexts.size(); }

  private:
    std::deque<std::string> mTexts;  // keeps each in its place, as the keys below require
    std::unordered_map<std::string_view, TextId> mIds;
};

}  // namespace zeqcam::tool
