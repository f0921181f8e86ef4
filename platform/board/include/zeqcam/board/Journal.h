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

/// What happened: a call across the boundary, or a client's request. A pair `X`, `XDone` frames a call that
/// takes time: `X` is written before anything happens, `XDone` carries the result. Each kind says what it
/// fills of an entry besides order, time and thread; all else is empty or zero.
///
/// - Of all kinds of a sensor and of its services, Entry::sensor is the sensor's id.
/// - Of all calls on the sensor list and on handles, Entry::text is the caller name given.
/// - Of a call with a count and indices, Entry::number is the count and Entry::sensors are the indices, empty
///   where none were given; Entry::sensor is the first of them, or else the handle's.
/// - Of all kinds of a task, Entry::text is the queue's name and Entry::number the value posted.
enum class Kind : std::uint8_t {
    Request,  ///< of a client, by ClientRequest. text: the client; detail: the request; sensors: its list
    Reply,    ///< to that request. text: the client; detail: the request; number: the result of a power-on,
              ///< else 0

    SensorListGet,       ///< number: 1 when there is a list; no caller name
    SensorCreate,        ///< number: 1 when a handle was made
    SensorRelease,       ///< a handle was given back
    SensorPowerOn,       ///< count and indices; detail: the nice value of the calling thread
    SensorPowerOnDone,   ///< number: 1 when the sensors came up, else 0; detail: why not, from their switch
    SensorPowerOff,      ///< count and indices
    SensorPowerOffDone,  ///< number: 1 when the sensors went down, else 0; detail: why not, as above
    SensorAfterPowerOn,  ///< the call that follows a power-on that succeeded

    Hal3AGet,            ///< number: 1 when the sensor has a 3A control
    Hal3APowerOn,        ///< number: the status answered
    Hal3APowerOff,       ///< number: the status answered
    Hal3ARelease,        ///< the last hold on a 3A control has gone
    PeripheralGet,       ///< number: 1 when the sensor has a peripheral controller
    PeripheralPowerOn,   ///< number: the status answered
    PeripheralPowerOff,  ///< number: the status answered
    PeripheralRelease,   ///< the last hold on a peripheral controller has gone

    QueueCreate,    ///< number: the type asked for; detail: "missing" when none was made
    QueueRelease,   ///< the last hold on a queue has gone; number: 0
    TaskPost,       ///< detail: what became of the handle: "given", "none", "no future", "throws"
    TaskSetFuture,  ///< a handle was given its future; detail: "none" when that is without a task
    TaskFuture,     ///< a handle was asked for its future
    TaskRun,        ///< a task begins, on the thread that runs it
    TaskRunDone,    ///< it has ended
    TaskDrop,       ///< the board destroyed a task without running it

    Affinity,        ///< number: 0, or the error number of the call that set it
    CriticalTask,    ///< the calling thread was marked critical
    PowerBudgetGet,  ///< number: 1 when there is an instance
    PowerBudget,     ///< the budget was asked for

    QosOpen,       ///< the task QoS file was opened; number: the descriptor, or the error number, negated;
                   ///< detail: the flags as given, hexadecimal
    QosWrite,      ///< a write to it begins; number: the descriptor; text: the bytes given
    QosWriteDone,  ///< number: the bytes written, or the error number, negated
    QosClose,      ///< number: the descriptor

    DebugPrint,       ///< number: the level; text: the tag; format; shown: the line
    FilenameText,     ///< text: the path
    UnifiedLog,       ///< number: the level; text: the tag; shown: the line; length and module as given
    AndroidLog,       ///< number: the priority; text: the tag; format; shown: the line
    TraceTags,        ///< the tags were asked for; number: the answer
    TraceBegin,       ///< text: the label
    TraceEnd,         ///< text: the label of the section that it closes; empty when none was open
    ProfileBegin,     ///< text: the function; detail: the tag
    ProfileMark,      ///< text: the mark as expanded; format
    ProfileEnd,       ///< text: the function
    PropertyGet,      ///< text: the name; number: the value answered; detail: the default given
    ExceptionReport,  ///< text: the module; detail: the second argument, "(null)" when null; format; shown:
                      ///< the message

    CallerFault,  ///< the call before it on this thread is a fault of the caller; text: which one

    SupplyGiven,  ///< sensor: comes up from now on, for all that its supply has to say; text: that supply
};

/// The enumerator's name, such as "SensorPowerOn"; "?" when it is none.
ZEQCAM_BOARD_API std::string_view nameOf(Kind kind);

/// One thing that happened.
struct Entry {
    /// Grows with every entry of the process: a call that ended before another began has the lower one.
    std::uint64_t order = 0;
    std::chrono::steady_clock::time_point time;  ///< when it was written
    int thread = 0;                              ///< the kernel's id of the calling thread
    Kind kind = Kind::Request;                   ///< says what the members below hold
    int sensor = 0;                              ///< a sensor's id
    std::int64_t number = 0;                     ///< a result, a status, a count or a level
    std::uint32_t length = 0;                    ///< of a line of the unified log, before it was cut to fit
    std::uint32_t module = 0;                    ///< of a line of the unified log
    std::string text;                            ///< who or what it is about
    std::string detail;                          ///< what else was given
    std::string format;                          ///< as given, its values not yet filled in
    std::string shown;                           ///< a line or message as a reader sees it
    std::vector<int> sensors;                    ///< the list of a client's request, or a call's indices
};

/// All calls across the boundary, of all threads, in order. Every member may be called from any thread at any
/// time. An entry that gets no memory is lost, without a word to the caller that it tells of.
class ZEQCAM_BOARD_API Journal {
  public:
    /// Empty, and on.
    Journal();
    ~Journal();
    Journal(Journal const&) = delete;
    Journal& operator=(Journal const&) = delete;

    /// A journal that is off takes no entry and costs its callers one branch. It starts on.
    void setOn(bool on);
    /// Whether it takes entries.
    [[nodiscard]] bool isOn() const;

    /// Appends an entry, with its order, time and thread filled in. Does nothing while the journal is off. A
    /// test may add entries of its own.
    void add(Entry entry);

    /// A copy of what stands in it, in order. An entry that is being added meanwhile may be in it or not.
    [[nodiscard]] std::vector<Entry> entries() const;
    /// The same, of one kind only.
    [[nodiscard]] std::vector<Entry> entries(Kind kind) const;

    /// The same as `entries()`, which leave the journal with it: one that is being added meanwhile comes with
    /// this call or with the next. Calls one after another so give every entry once, in order.
    [[nodiscard]] std::vector<Entry> take();

    /// Forgets what stands in it.
    void clear();

    /// Waits, without a time limit, until `enough` says so of the entries; it is asked at once, and anew
    /// after new ones, on the calling thread.
    void waitUntil(std::function<bool(std::vector<Entry> const&)> const& enough) const;
    /// Waits, without a time limit, until there are `count` entries of a kind, earlier ones included.
    void waitFor(Kind kind, std::size_t count = 1) const;

  private:
    struct State;
    std::unique_ptr<State> mState;
};

}  // namespace zeqcam::board
