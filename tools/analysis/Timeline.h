#pragma once

#include "analysis/LogLevel.h"
#include "analysis/ProcessorTime.h"
#include "record/Record.h"

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zeqcam::tool {

// A client's request; one that only waits; a trace section; a call that powers a sensor on or off.
enum class SectionKind : std::uint8_t { Request, Wait, Trace, SensorCall };

// A part of a thread's time, with the parts that it holds.
struct Section {
    SectionKind kind = SectionKind::Trace;
    bool open = false;                      // it had not ended at the end of the record
    bool failed = false;                    // a sensor that did not come up, a request that was refused
    std::uint32_t number = 0;               // no other section of the timeline has it
    std::uint32_t thread = 0;               // index into Record::threads
    OptionalNumber<std::uint32_t> request;  // of a request or a wait: index into Record::requests
    std::optional<int> sensor;              // of a call on one, and of what the library traces of one
    TextId label = TextId::Empty;
    // What still tells it apart where the label does not fit, the longer first; Empty: none. "power off main
    // wide" has "off main wide" and "off 0 2".
    std::array<TextId, 2> briefLabels{};
    TextId why = TextId::Empty;  // it failed, where that was told
    Instant begin;
    Instant end;  // of the timeline, while `open`
    std::vector<Section> inner;
};

// A thread, named by what it is: a client's name, "tele worker", "powerOnOffCtrl (photo)". The workers of one
// sensor, one after another, are one row. Rows stand in the record's order of clients, then of sensors, then
// of the controllers whose queues they are, as far as that is known.
struct Row {
    std::string name;
    std::vector<std::uint32_t> threads;  // indices into Record::threads
    std::vector<Section> sections;
    OptionalNumber<std::uint32_t> client;  // whose thread it is: index into Record::clients
    std::optional<int> sensor;             // whose workers they are
    std::vector<ProcessorPart> processor;  // by begin; empty where that is not known
};

// A log line or a mark of a power-on profile.
struct Mark {
    Instant time;
    std::uint32_t row = 0;
    Level level = Level::Info;
    TextId text = TextId::Empty;
    std::uint32_t thread = 0;               // index into Record::threads
    OptionalNumber<std::uint32_t> section;  // by its number: the innermost that the thread was in
};

// How many sensors were powered from a time on.
struct PoweredCount {
    Instant time;
    std::optional<int> sensors;  // none: unknown, from then on to the end
};

// What each thread of a record did, when: what the drawn views are drawn from. It stands on its own; the
// record may go.
struct Timeline {
    Instant zero;  // from which its times are told
    Instant begin;
    Instant end;
    std::vector<Row> rows;
    std::vector<Mark> marks;
    std::vector<PoweredCount> powered;  // the first of them at the begin
    Texts texts;                        // of the sections and marks

    [[nodiscard]] std::string_view textOf(TextId id) const { return texts.of(id); }
};

// Whatever is still open ends with the record.
Timeline timelineOf(Record const& record);

// Whether the section or one that it holds, at any depth, failed.
bool holdsFailure(Section const& section);

}  // namespace zeqcam::tool
