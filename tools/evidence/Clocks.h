#pragma once

#include "evidence/Item.h"

#include <chrono>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string_view>
#include <vector>

namespace zeqcam::tool {

// The clocks of several files, and what is known of one by another: by readings, by lines that stand in two
// files, and because two files of one boot of the phone tell the same clock.
class Clocks {
  public:
    // A clock as one file tells it, in one boot of the phone.
    struct Clock {
        std::uint16_t file = 0;
        std::uint32_t boot = 0;  // counted from the file's begin
        ClockKind kind = ClockKind::Wall;

        auto operator<=>(Clock const&) const = default;
    };

    // How a clock's times are brought to those of its group.
    struct Fit {
        std::size_t group = 0;
        std::chrono::nanoseconds add{};
    };

    struct File {
        std::uint32_t boots = 1;
        bool isWallTimeKnown = true;
    };

    void see(Clock const& clock) { mClocks.emplace(clock, Fit{}); }
    // At `time` of one clock, another one of the same file showed `shown`.
    void read(Clock const& clock, std::chrono::nanoseconds time, ClockKind other,
              std::chrono::nanoseconds shown);
    // A line of ours, with all that tells it from others.
    void seeLine(Clock const& clock, std::chrono::nanoseconds time, std::string_view line);

    // Once all is read; `files` by their index.
    void fit(std::vector<File> const& files);

    // After `fit`, of clocks that were seen. Two of one group can be laid over each other.
    [[nodiscard]] Fit fitOf(Clock const& clock) const { return mClocks.at(clock); }
    // The clock whose times those of the group are.
    [[nodiscard]] Clock clockOf(std::size_t group) const { return mBases[group]; }
    // What to add to the group's times for the time since 1970; none: not known.
    [[nodiscard]] std::optional<std::chrono::nanoseconds> toWallClock(std::size_t group) const;

  private:
    struct Edge {
        Clock from;
        Clock to;
        std::chrono::nanoseconds add;
    };

    // What tells a line from others, which its text would take many times the memory for.
    struct Line {
        std::size_t hash = 0;
        std::chrono::nanoseconds time{};
    };

    void addSameClocks();
    void addLines();
    void addLinesOf(Clock const& left, Clock const& right);
    void group();
    void spread(Clock const& base, std::size_t group);
    [[nodiscard]] bool areOneBoot(Clock const& left, Clock const& right) const;

    std::vector<File> mFiles;
    std::map<Clock, Fit> mClocks;
    std::vector<Edge> mEdges;
    std::map<Clock, std::vector<Line>> mLines;
    std::vector<Clock> mBases;
};

}  // namespace zeqcam::tool
