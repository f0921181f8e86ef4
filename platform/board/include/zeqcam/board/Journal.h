#pragma once

#include <zeqcam/board/Visibility.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace zeqcam::board {

// What happened. A pair `X`, `XDone` frames a call that takes time: `XDone` carries its result.
// Each kind says which fields of an entry it fills besides order, time and thread; the others are empty or
// zero.
enum class Kind : std::uint8_t {
    // Clients of the library; written by ClientRequest. text: the client; detail: the request; sensors: its
    // list.
    Request,
    Reply,  // number: the result of a power-on, else 0

    // Sensors. sensor: the id; text: the caller name.
    SensorListGet,  // number: 1 when there is a list
    SensorCreate,   // number: 1 when a handle was made
    SensorRelease,
    SensorPowerOn,       // number: the count given; detail: the nice value of the calling thread
    SensorPowerOnDone,   // number: the result
    SensorPowerOff,      // number: the count given
    SensorPowerOffDone,  // number: the result
    SensorAfterPowerOn,

    // Services of a sensor. sensor: the id; number: the status answered, or 1 when there is a service.
    Hal3AGet,
    Hal3APowerOn,
    Hal3APowerOff,
    Hal3ARelease,
    PeripheralGet,
    PeripheralPowerOn,
    PeripheralPowerOff,
    PeripheralRelease,

    // Tasks. number: the value posted, or the type of a new queue; text: the queue's name.
    QueueCreate,  // detail: "missing" when none was made
    QueueRelease,
    TaskPost,    // detail: what became of the handle: "given", "none", "no future"
    TaskFuture,  // the handle was asked for its future
    TaskRun,
    TaskRunDone,
    TaskDrop,  // the queue destroyed a task without running it

    // Performance.
    Affinity,  // number: 0, or the error number of the call that set it
    CriticalTask,
    PowerBudgetGet,  // number: 1 when there is an instance
    PowerBudget,

    // Diagnostics.
    DebugPrint,  // number: the level; text: the tag; detail: the format as given; shown: the line as expanded
    FilenameText,  // text: the path
    UnifiedLog,    // number: the level; text: the tag; shown: the line; length: the length given; module: the
                   // module
    AndroidLog,    // number: the priority; text: the tag; detail: the format as given; shown: the line as
                   // expanded
    TraceBegin,    // text: the label
    TraceEnd,      // text: the label of the section that it closes; empty when none was open
    ProfileBegin,  // text: the function; detail: the tag
    ProfileMark,   // text: the mark as expanded
    ProfileEnd,    // text: the function
    PropertyGet,   // text: the name; number: the value answered
    ExceptionReport,  // text: the module; detail: the second argument ("(null)" when null); shown: the
                      // message
};

ZEQCAM_BOARD_API std::string_view nameOf(Kind kind);

struct Entry {
    std::uint64_t order =
        0;  // grows with every entry of the process: a call that ended before another began is lower
    std::chrono::steady_clock::time_point time;
    int thread = 0;  // the kernel's id of the calling thread
    Kind kind = Kind::Request;
    int sensor = 0;
    std::int64_t number = 0;
    std::uint32_t length = 0;
    std::uint32_t module = 0;
    std::string text;
    std::string detail;
    std::string shown;
    std::vector<int> sensors;
};

// All calls across the boundary, of all threads, in order. Every member may be called from any thread at any
// time.
class ZEQCAM_BOARD_API Journal {
  public:
    Journal();
    ~Journal();
    Journal(Journal const&) = delete;
    Journal& operator=(Journal const&) = delete;

    // A journal that is off takes no entry and costs its callers one branch. It starts on.
    void setOn(bool on);
    [[nodiscard]] bool isOn() const;

    // Fills in order, time and thread. Does nothing while the journal is off.
    void add(Entry entry);

    // A copy of what stands in it, in order.
    [[nodiscard]] std::vector<Entry> entries() const;
    [[nodiscard]] std::vector<Entry> entries(Kind kind) const;

    // Forgets what stands in it.
    void clear();

    // Waits, without a time limit, until `enough` says so of the entries; it is asked anew after each new
    // entry.
    void waitUntil(std::function<bool(std::vector<Entry> const&)> const& enough) const;
    // Waits until there are `count` entries of a kind.
    void waitFor(Kind kind, std::size_t count = 1) const;

  private:
    struct State;
    std::unique_ptr<State> mState;
};

}  // namespace zeqcam::board
