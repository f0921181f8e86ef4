#pragma once

#include <charconv>
#include <chrono>
#include <cstdint>
#include <optional>
#include <string_view>
#include <system_error>

namespace zeqcam::tool {

// Takes a line apart from its begin. What does not fit is left where it is.
class Scanner {
  public:
    explicit Scanner(std::string_view text) : mRest(text) {}

    [[nodiscard]] std::string_view rest() const { return mRest; }
    [[nodiscard]] bool isNext(char character) const { return !mRest.empty() && mRest.front() == character; }

    bool take(char character) {
        if (!isNext(character)) return false;
        mRest.remove_prefix(1);
        return true;
    }

    bool take(std::string_view text) {
        if (mRest.substr(0, text.size()) != text) return false;
        mRest.remove_prefix(text.size());
        return true;
    }

    void skipSpaces() {
        while (take(' ')) {
        }
    }

    // Up to a space or the end.
    std::string_view word() {
        auto const taken = mRest.substr(0, mRest.find(' '));
        mRest.remove_prefix(taken.size());
        return taken;
    }

    // Digits only, as many as there are.
    template <class Number>
    std::optional<Number> number() {
        Number value = 0;
        if (mRest.empty() || mRest.front() < '0' || mRest.front() > '9') return {};
        auto const [end, fault] = std::from_chars(mRest.data(), mRest.data() + mRest.size(), value);
        if (fault != std::errc{}) return {};
        mRest.remove_prefix(static_cast<std::size_t>(end - mRest.data()));
        return value;
    }

    // ".315", with any number of digits. Those below a nanosecond are left out.
    std::optional<std::chrono::nanoseconds> fraction() {
        if (!isNext('.')) return {};
        std::int64_t value = 0;
        std::int64_t unit = 1'000'000'000;
        std::size_t length = 1;
        for (; length < mRest.size() && mRest[length] >= '0' && mRest[length] <= '9'; ++length) {
            unit /= 10;
            value += unit * (mRest[length] - '0');
        }
        if (length == 1) return {};
        mRest.remove_prefix(length);
        return std::chrono::nanoseconds(value);
    }

    // "12345.678901" seconds.
    std::optional<std::chrono::nanoseconds> seconds() {
        Scanner ahead = *this;
        auto const whole = ahead.number<std::int64_t>();
        // What a clock of nanoseconds can show, some 290 years.
        if (!whole || *whole > 9'000'000'000) return {};
        auto const part = ahead.fraction();
        if (!part) return {};
        *this = ahead;
        return std::chrono::seconds(*whole) + *part;
    }

  private:
    std::string_view mRest;
};

}  // namespace zeqcam::tool
