#pragma once

#include "evidence/Item.h"
#include "evidence/TimeOrder.h"

#include <chrono>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>

namespace zeqcam::tool {

// Makes items of the sections that a program traces by itself, as track events of a Perfetto trace. Names are
// written once and numbered then, and clocks count on from event to event, for each sequence of packets anew.
class TrackEvents {
  public:
    // The parts of a packet that concern it; what is not there is empty.
    struct Packet {
        std::uint32_t sequence = 0;
        std::optional<std::uint64_t> time;
        std::optional<std::uint64_t> clock;
        bool begins = false;  // whatever was told of the sequence before counts no longer
        std::string_view clocks;
        std::string_view defaults;
        std::string_view names;
        std::string_view track;
        std::string_view event;

        [[nodiscard]] bool isEmpty() const {
            return !begins && clocks.empty() && defaults.empty() && names.empty() && track.empty() &&
                   event.empty();
        }
    };

    // Both outlive it. `sink` takes what has no time.
    TrackEvents(TimeOrder& order, ItemSink& sink) : mOrder(order), mSink(sink) {}

    // Throws protozero::exception where it is damaged.
    void take(Packet const& packet, Place place);
    // Of another clock than the trace's, by the last snapshot.
    void setMonotonic(std::chrono::nanoseconds sinceBoot) { mMonotonicSinceBoot = sinceBoot; }

  private:
    // A clock of a sequence's own.
    struct Clock {
        std::uint64_t shown = 0;  // in its unit: by the snapshot, or the last event
        std::uint64_t unit = 1;   // nanoseconds
        bool counts = false;      // its times are differences
        std::int64_t sinceBoot = 0;
    };
    struct Sequence {
        std::unordered_map<std::uint64_t, std::string> names;
        std::map<std::uint64_t, Clock> clocks;
        std::uint64_t clock = 6;
        std::uint64_t track = 0;
    };
    struct Track {
        std::int32_t process = 0;
        std::int32_t thread = 0;
    };
    struct When {
        ClockKind clock = ClockKind::Boot;
        std::chrono::nanoseconds time{};
    };

    void takeClocks(std::string_view content, Sequence& sequence);
    void takeDefaults(std::string_view content, Sequence& sequence);
    void takeNames(std::string_view content, Sequence& sequence);
    void takeTrack(std::string_view content, Place place);
    void takeEvent(std::string_view content, Sequence const& sequence, When when, Place place);
    static std::optional<When> timeOf(Packet const& packet, Sequence& sequence);

    TimeOrder& mOrder;
    ItemSink& mSink;
    std::unordered_map<std::uint32_t, Sequence> mSequences;
    std::unordered_map<std::uint64_t, Track> mTracks;
    std::chrono::nanoseconds mMonotonicSinceBoot{};
};

}  // namespace zeqcam::tool
