#pragma once

#include "evidence/Item.h"
#include "evidence/Signs.h"
#include "record/Record.h"

#include <chrono>
#include <cstdint>
#include <optional>
#include <vector>

namespace zeqcam::tool {

// What is kept of an item that one of our processes gave: its texts are a record's.
struct Sighting {
    enum class What : std::uint8_t {
        SectionBegin,
        SectionEnd,
        Line,
        State,    // `state`: what the thread does for the processor from now on
        Start,    // the thread starts `other`, named `text`
        Profile,  // `text`: the mark
    };

    std::chrono::nanoseconds time{};
    Place place;
    std::int32_t thread = 0;
    std::optional<std::int32_t> sensor;
    std::int32_t other = 0;         // that is started; of a section, for whom it is, as an arrow tells
    TextId text = TextId::Empty;    // the label or the line
    TextId tag = TextId::Empty;     // of a line; of a section its category
    TextId values = TextId::Empty;  // of a section
    ClockKind clock = ClockKind::Wall;
    What what = What::Line;
    Saying saying = Saying::Other;
    Scheduling::State state = Scheduling::State::Asleep;
    char level = 'D';
    bool isDebugPrint = false;
};

// Whether it tells how far on a request is: what is about the processor, and marks, do not.
constexpr bool tellsPhase(Sighting const& sighting) {
    return sighting.what <= Sighting::What::Line;
}

using Sightings = std::vector<Sighting>;

}  // namespace zeqcam::tool
