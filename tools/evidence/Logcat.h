#pragma once

#include "evidence/Item.h"
#include "evidence/Lines.h"
#include "evidence/LogcatLine.h"

#include <chrono>
#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <string_view>

namespace zeqcam::tool {

// The times of a log, which may leave out year and zone.
class LogClock {
  public:
    // A line's time, and on which clock.
    std::chrono::nanoseconds timeOf(LogcatLine const& line);
    [[nodiscard]] ClockKind kind() const { return mKind; }
    // The next line may be of any time.
    void forgetLast() { mLast.reset(); }
    // Whether all wall times so far are since 1970.
    [[nodiscard]] bool isWallTimeKnown() const { return mIsWallTimeKnown; }

  private:
    // Any leap year does for a log that tells none, so that each date has a day.
    static constexpr int kAnyYear = 1972;

    ClockKind mKind = ClockKind::Wall;
    bool mIsWallTimeKnown = true;
    int mYear = kAnyYear;
    std::optional<std::chrono::nanoseconds> mLast;
};

// Reads `logcat -v threadtime`, in whatever other text. Most lines are of other tags, so only a line's begin
// is looked at until its tag is known to be wanted.
class LogcatReader {
  public:
    LogcatReader(std::uint16_t file, Wanted const& wanted, ItemSink& sink)
        : mFile(file), mWanted(wanted), mSink(sink) {}

    // Whether it is "--------- beginning of main", which stands before the lines of any format.
    bool seesBegin(std::string_view line);
    // All lines from the first that is one of the format.
    void read(Lines& lines);
    [[nodiscard]] bool isWallTimeKnown() const { return mClock.isWallTimeKnown(); }

  private:
    [[nodiscard]] bool isOthers(std::string_view line) const;
    void take(std::string_view line);
    void take(LogcatLine const& line);
    void takeOther(std::string_view line);
    void takeIncomplete(std::string_view line);
    void tellBoot();
    void tellLost(std::string_view what);
    [[nodiscard]] Item item() const;

    std::uint16_t mFile;
    Wanted const& mWanted;
    ItemSink& mSink;
    LogClock mClock;
    std::chrono::nanoseconds mTime{};  // of the last line
    std::uint32_t mNumber = 0;
    std::size_t mTagAt = 0;                     // where the last line that was looked at whole had its tag
    std::uint64_t mDate = 0;                    // how that line began: each hour is looked at whole
    std::set<std::string, std::less<>> mBegun;  // the log's parts: "main", "system"
};

}  // namespace zeqcam::tool
