#pragma once

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

namespace zeqcam::tool {

// What the scheduler did on one processor, as Perfetto writes it by columns: CompactSched.
class CompactSched {
  public:
    struct Switch {
        std::uint64_t time = 0;
        std::uint64_t state = 0;
        std::uint64_t next = 0;
        std::string_view nextName;
    };
    struct Waking {
        std::uint64_t time = 0;
        std::uint64_t woken = 0;
    };

    // Throws protozero::exception where it is damaged, as all below do.
    explicit CompactSched(std::string_view content);

    // When the next switch and the next waking are. None: there is none.
    [[nodiscard]] std::optional<std::uint64_t> switchTime() const { return mSwitchTime; }
    [[nodiscard]] std::optional<std::uint64_t> wakingTime() const { return mWakingTime; }
    Switch nextSwitch();
    Waking nextWaking();

  private:
    // A packed column of numbers.
    class Column {
      public:
        Column() = default;
        explicit Column(std::string_view numbers) : mRest(numbers) {}
        std::optional<std::uint64_t> next();

      private:
        std::string_view mRest;
    };

    static std::uint64_t inRow(Column& column);
    static void advance(std::optional<std::uint64_t>& time, Column& differences);

    Column mSwitchDifferences;
    Column mSwitchStates;
    Column mSwitchNext;
    Column mSwitchNames;
    Column mWakingDifferences;
    Column mWoken;
    std::vector<std::string_view> mNames;
    std::optional<std::uint64_t> mSwitchTime = 0;
    std::optional<std::uint64_t> mWakingTime = 0;
};

}  // namespace zeqcam::tool
