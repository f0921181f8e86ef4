#pragma once

#include "record/OptionalNumber.h"
#include "record/Texts.h"

#include <zeqcam/board/Journal.h>

#include <chrono>
#include <compare>
#include <cstdint>
#include <initializer_list>
#include <map>
#include <optional>
#include <ratio>
#include <string>
#include <string_view>
#include <vector>

// What happened: the one model between whoever tells of it and whoever judges or shows it.
//
//     a source (tools/run, …)  →  Record  →  rules (tools/rules), views (tools/views)
//                                   ↓
//                     what follows from it (tools/analysis)
//
// A source fills a record and draws nothing. Rules and views read nothing else, so what they need to know
// stands here, and they cannot tell a run on the board from one in virtual time or from a phone's log, except
// by what is unknown.
//
// **Unknown.** A source says what it saw and never guesses. What it did not see is unknown: an optional
// without a value. An empty list or text is known to be empty. Whether an event's absence means that nothing
// happened, or that the source cannot show such events, is told by Record::shows.
//
// **Order.** Events stand in the order in which they happened, as far as the source tells. Times never
// decrease along them. Events of one instant stand in the source's order; within Record::resolution that
// order is certain on one thread only.
//
// **References** between the lists are indices into them. A list grows at its end only, while its source
// works; after that a record does not change, and any number of threads may read it.
namespace zeqcam::tool {

// The clock that times an event.
enum class ClockKind : std::uint8_t {
    Monotonic,  // of this machine; a run on the board
    Virtual,    // of a simulated run: stands while anybody can go on
    Wall,       // since 1970, UTC; may have been set under way
    Boot,       // of a phone: goes on while it sleeps
    Trace,      // of a kernel tracer, whichever it was set to
};

// The word for it: "monotonic".
std::string_view nameOf(ClockKind clock);

// Time as a record counts it: nanoseconds from the zero of the record's clock.
struct RecordTime {
    using rep = std::chrono::nanoseconds::rep;
    using period = std::nano;
    using duration = std::chrono::nanoseconds;
    using time_point = std::chrono::time_point<RecordTime>;
};
using Instant = RecordTime::time_point;

// A place in one of the files that the source read. A run's events have none.
struct Place {
    std::uint32_t number = 0;  // of the line or packet, from 1; 0: no place
    std::uint16_t file = 0;    // index into Record::files

    auto operator<=>(Place const&) const = default;
};

// Kinds of events.
class KindSet {
  public:
    constexpr KindSet() = default;
    constexpr KindSet(std::initializer_list<board::Kind> kinds) {
        for (board::Kind const kind : kinds) mBits |= bitOf(kind);
    }
    static constexpr KindSet all() {
        KindSet all;
        all.mBits = ~std::uint64_t{0};
        return all;
    }

    [[nodiscard]] constexpr bool contains(board::Kind kind) const { return (mBits & bitOf(kind)) != 0; }
    [[nodiscard]] constexpr bool contains(KindSet other) const { return (other.mBits & ~mBits) == 0; }
    constexpr void insert(board::Kind kind) { mBits |= bitOf(kind); }

    constexpr bool operator==(KindSet const&) const = default;

  private:
    static constexpr std::uint64_t bitOf(board::Kind kind) {
        return std::uint64_t{1} << static_cast<unsigned>(kind);
    }

    std::uint64_t mBits = 0;
};

// One thing that happened: a call across the platform boundary, or the begin or end of a client's request.
// board::Kind says what each kind fills of `sensor`, `number`, `text`, `detail` and `shown`; here an unknown
// number is told from 0. A source that sees only traces of a call writes the call, with what it knows of it.
struct Event {
    Instant time;
    OptionalNumber<std::int64_t> number;
    std::optional<std::int32_t> sensor;  // any id may be a sensor's
    // The request that it begins, ends or belongs to: index into Record::requests. Unknown is also "none".
    OptionalNumber<std::uint32_t> request;
    std::uint32_t thread = 0;  // index into Record::threads
    TextId text = TextId::Empty;
    TextId detail = TextId::Empty;
    TextId shown = TextId::Empty;
    Place place;
    board::Kind kind = board::Kind::Request;
};
static_assert(sizeof(Event) <= 56, "a million of them must be fine in memory");

enum class RequestKind : std::uint8_t { PowerOn, PowerOff, Status, Powered, Wait, Destroy, Sleep, Other };

// As people read it: "power on".
std::string_view nameOf(RequestKind kind);
// Other where nothing else has that name.
RequestKind requestKindOf(std::string_view name);

// What a client did: a call on its controller, a look at the board, a sleep, or what its name says. Of what
// does not come to the library, a sleep or the wait for a signal, a run holds what had not ended.
struct Request {
    RequestKind kind = RequestKind::Other;
    TextId name = TextId::Empty;              // as people read it
    std::uint32_t client = 0;                 // index into Record::clients
    OptionalNumber<std::int32_t> line;        // of its step in the scenario
    std::optional<std::vector<int>> sensors;  // that it names, in that order; of Destroy, those on
    Instant began;
    std::optional<Instant> ended;  // none: it had not ended by Record::end, or its end was not seen
    std::optional<bool> result;    // of PowerOn that has ended
    // Of Status that has ended: the sensors that count as on; of Powered: those that the board powers.
    std::optional<std::vector<int>> countedOn;
};

// Something that a scenario expects of a step.
struct Expectation {
    enum class State : std::uint8_t {
        Held,
        Unmet,
        NotReached,  // the run ended before its step began
    };

    std::int32_t line = 0;                  // of the step
    std::uint32_t client = 0;               // index into Record::clients
    OptionalNumber<std::uint32_t> request;  // index into Record::requests; none while NotReached
    RequestKind step = RequestKind::Other;
    State state = State::NotReached;
    TextId unmet = TextId::Empty;  // unless it held: what was wanted and what was
};

// A contract across the boundary that the caller broke, as the board noticed it.
struct CallerFault {
    std::optional<Instant> time;
    OptionalNumber<std::uint32_t> thread;  // index into Record::threads
    std::optional<std::int32_t> sensor;
    TextId text = TextId::Empty;
};

// What a thread did for the processor from a time on, until its next one.
struct Scheduling {
    enum class State : std::uint8_t { Running, Runnable, Asleep, Ended, Unknown };

    Instant time;
    std::uint32_t thread = 0;  // index into Record::threads
    State state = State::Asleep;
};

// A part of what the source read that is missing or could not be read.
struct Loss {
    Place place;
    TextId text = TextId::Empty;  // "41 events lost", "a line of bytes that are no text"
};

// The record of one process.
struct Record {
    // A thread of the process that the record is of. The kernel gives an ended thread's id to another one: a
    // source that sees that makes two of them, a source that cannot lets both be one.
    struct Thread {
        OptionalNumber<std::int32_t> id;          // the kernel's
        TextId name = TextId::Empty;              // the kernel's too; Empty: unknown
        OptionalNumber<std::uint32_t> startedBy;  // index into Record::threads
    };

    // An image sensor that the record tells of.
    struct Sensor {
        int id = 0;
        TextId name = TextId::Empty;  // as the scenario says; Empty: unknown
        // Whether it has power at the end, by whoever must know: the board.
        std::optional<bool> powered;
    };

    // A controller of the library, by what its clients see.
    struct Controller {
        enum class End : std::uint8_t {
            Unknown,
            Destroyed,  // all of its clients let go of it
            Held,       // `counts` tells
        };

        TextId name = TextId::Empty;  // Empty: unknown
        std::vector<int> sensors;     // that it may drive, as far as known
        End end = End::Unknown;
        std::map<int, bool> counts;  // which sensors it counts as on at the end
    };

    // Whoever makes requests, one after another. Where the source knows only threads, each that makes
    // requests is one.
    struct Client {
        TextId name = TextId::Empty;
        OptionalNumber<std::uint32_t> controller;  // index into Record::controllers
        OptionalNumber<std::uint32_t> thread;      // index into Record::threads
        std::optional<bool> isDone;                // whether it will make no other request
    };

    // ---- Where it comes from ----
    std::vector<std::string> files;  // the scenario that was played, or the evidence that was read
    ClockKind clock = ClockKind::Monotonic;
    std::chrono::nanoseconds resolution{1};  // of the source's times
    // What to add to an instant for the time since 1970, where the source knows both clocks.
    std::optional<std::chrono::nanoseconds> toWallClock;
    std::optional<int> process;         // the kernel's id
    std::optional<std::uint64_t> seed;  // of a run
    // The kinds whose events would stand here had they happened. A rule that needs others cannot be judged.
    KindSet shows;

    // ---- Who and what ----
    Texts texts;
    std::vector<Thread> threads;
    std::vector<Sensor> sensors;  // each once, in the order in which the source lists them
    std::vector<Controller> controllers;
    std::vector<Client> clients;

    // ---- What happened ----
    Instant begin;                  // of the first event; `end` when there is none
    Instant end;                    // when the record was taken
    std::vector<Event> events;      // in order, as above
    std::vector<Request> requests;  // by `began`
    std::vector<Expectation> expectations;
    std::vector<CallerFault> callerFaults;
    std::vector<Scheduling> scheduling;  // by time
    std::vector<Loss> losses;            // by place
    // Why it ends before its clients were done, to follow "the run": "was interrupted". None: they were done.
    std::optional<std::string> cutOff;

    // ---- Reading it ----
    [[nodiscard]] std::string_view textOf(TextId id) const { return texts.of(id); }
    // Null: it tells of no such sensor.
    [[nodiscard]] Sensor const* findSensor(int id) const;
    // Where a sensor stands among all: as `sensors` does, and behind those by id what they lack.
    [[nodiscard]] std::int64_t placeOfSensor(int id) const;
    [[nodiscard]] std::string_view nameOfClient(std::uint32_t client) const {
        return textOf(clients[client].name);
    }
    // The sensor's name, or its id where it has none.
    [[nodiscard]] std::string nameOfSensor(int id) const;
};

}  // namespace zeqcam::tool
