#pragma once

#include "record/Record.h"

#include <chrono>
#include <cstdint>
#include <optional>
#include <string_view>
#include <variant>

// What a file from a phone says, item by item, whatever its format:
//
//     bytes  →  a reader for each format (logcat, ftrace, …)  →  Item  →  records (one for each process)
//
// A reader knows its format and nothing of sensors; what makes records of items knows no format. Both work in
// one pass: an item's texts live only until ItemSink::take returns.
namespace zeqcam::tool {

// A section was opened: "B|pid|label" of the tracer.
struct SectionBegin {
    std::string_view label;
    // Of Trace Events only: the category ("request") and the values ("args"), an object as JSON text.
    // Empty: none.
    std::string_view category{};
    std::string_view values{};
};

// The innermost open section of the thread was closed.
struct SectionEnd {};

// A line of the system's log.
struct LogLine {
    char level = 'D';      // as logcat shows it: V D I W E F
    std::string_view tag;  // empty: unknown, an instant of the category "log" among Trace Events
    std::string_view text;
};

// A processor went from one thread to another: Item::thread is the one that had it.
struct Switch {
    std::int32_t next = 0;  // the kernel's id; 0 is the idle thread
    Scheduling::State left = Scheduling::State::Asleep;
};

// Item::thread made another one ready to run.
struct Waking {
    std::int32_t woken = 0;
};

// Item::thread started another one.
struct ThreadStart {
    std::int32_t started = 0;
    std::string_view name;  // empty: unknown
};

// What Item::thread begins at that time is done for what another thread is in: an arrow of a trace.
struct WorkFor {
    std::int32_t asking = 0;
};

// A mark of a power-on's profile, as a trace of the tool's tells it.
struct ProfilePoint {
    std::string_view label;
};

// Which process a thread belongs to and what it is called, as far as the file tells; no time.
struct ThreadName {
    std::string_view name;     // empty: unknown
    std::string_view process;  // the process's; empty: unknown
};

// What another clock showed at Item::time.
struct ClockReading {
    ClockKind clock = ClockKind::Wall;
    std::chrono::nanoseconds shown{};
};

// The phone started anew: times and ids before say nothing about those after.
struct Boot {};

// Something is missing or could not be read.
struct Lost {
    std::string_view what;  // "41 events lost"
};

struct Item {
    std::chrono::nanoseconds time{};  // since the zero of `clock`
    ClockKind clock = ClockKind::Wall;
    Place place;
    std::optional<std::int32_t> process;  // the kernel's id, where the file tells
    std::int32_t thread = 0;              // the kernel's id; 0: of no thread
    std::variant<SectionBegin, SectionEnd, LogLine, Switch, Waking, ThreadStart, WorkFor, ProfilePoint,
                 ThreadName, ClockReading, Boot, Lost>
        what;
};

// Takes items in the order of the file.
class ItemSink {
  public:
    virtual ~ItemSink() = default;
    // Items of one file come from one thread at a time. May throw what reading shall stop with.
    virtual void take(Item const& item) = 0;
};

// What of a file is worth an item: readers leave out other log lines and sections unseen, which is most.
struct Wanted {
    // Whether a log line with this tag may be ours.
    bool (*tag)(std::string_view tag);
};

// What a whole file came to.
enum class Format : std::uint8_t { Unknown, Logcat, Ftrace, Perfetto, TraceEvents };

}  // namespace zeqcam::tool
