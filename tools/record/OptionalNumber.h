#pragma once

#include <limits>
#include <optional>

namespace zeqcam::tool {

// A number that may be unknown, in the room of the number: std::optional takes twice that, which a million
// events feel. The least number of a signed type, and the greatest of an unsigned one, stand for "unknown"
// and are no values.
template <class Number>
class OptionalNumber {
  public:
    constexpr OptionalNumber() = default;
    // NOLINTBEGIN(google-explicit-constructor): as with std::optional
    constexpr OptionalNumber(std::nullopt_t) {}
    constexpr OptionalNumber(Number number) : mNumber(number) {}
    // NOLINTEND(google-explicit-constructor)

    [[nodiscard]] constexpr bool has_value() const { return mNumber != kUnknown; }
    [[nodiscard]] constexpr explicit operator bool() const { return has_value(); }
    // Only of one that is known.
    [[nodiscard]] constexpr Number operator*() const { return mNumber; }
    [[nodiscard]] constexpr Number value_or(Number other) const { return has_value() ? mNumber : other; }

    constexpr bool operator==(OptionalNumber const&) const = default;

  private:
    using Limits = std::numeric_limits<Number>;
    static constexpr Number kUnknown = Limits::is_signed ? Limits::min() : Limits::max();

    Number mNumber = kUnknown;
};

}  // namespace zeqcam::tool
