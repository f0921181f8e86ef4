#pragma once

#include <zeqcam/board/Journal.h>
#include <zeqcam/board/PowerSwitch.h>
#include <zeqcam/board/Visibility.h>

#include <array>
#include <chrono>
#include <cstdint>
#include <functional>
#include <iosfwd>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

/// A simulated phone board behind the platform boundary of the power sequencing library.
///
///     zeqcam::board::Settings settings;
///     settings.sensors[0];                                 // answers at once, has both services
///     settings.sensors[2] = {.powerOnTime = 5ms, .powerOnFails = {.always = true}};
///     zeqcam::board::Board board(std::move(settings));     // now the library finds this board
///     auto controller = NSCam::IPowerOnOffController::create({.sensorIds = {0, 2}});
///     controller->powerOn({0, 2});
///     board.journal().entries(zeqcam::board::Kind::ExceptionReport);  // one report: sensor 2 failed
///
/// One board stands at a time. Without one the boundary answers as a device on which everything is missing.
/// A controller has its task queue from the board that stood when it was created, so the board is made first.
///
/// A test waits on the journal where others would sleep. A sensor that hangs holds a request at a known
/// place:
///
///     settings.sensors[0].powerOnHangs = true;                 // before the board is made
///     std::thread client([&] { controller->powerOn({0}); });
///     board.journal().waitFor(zeqcam::board::Kind::SensorPowerOn);
///     // Here the power-on is under way, for as long as the test likes.
///     board.change([](auto& now) { now.sensors[0].powerOnHangs = false; });
///     client.join();
namespace zeqcam::board {

/// How long something takes: always the same, or each time anew from a range, both ends included. What is
/// drawn follows from the board's seed, the sensor, the call and how many such calls it had before: a run
/// with the same seed takes the same times, whichever thread comes first.
struct TimeRange {
    std::chrono::microseconds least{0};  ///< 0 or more
    std::chrono::microseconds most{0};   ///< at least `least`, or that counts

    TimeRange() = default;
    /// Always `time`.
    template <class Number, class Period>
    constexpr TimeRange(std::chrono::duration<Number, Period> time) : least(time), most(time) {}
    /// From `from` to `to`.
    constexpr TimeRange(std::chrono::microseconds from, std::chrono::microseconds to)
        : least(from), most(to) {}

    /// Whether both ends are the same.
    friend bool operator==(TimeRange const&, TimeRange const&) = default;
};

/// Which power-ons of a sensor fail: by default none. Any of the members may make one fail. A power-on that
/// fails takes its time all the same, answers 0 and leaves the sensor as it was.
struct PowerOnFault {
    bool always = false;     ///< all of them
    std::vector<int> times;  ///< the n-th power-ons of the sensor, counted from 1
    /// 0 to 1. Drawn from the board's seed, the sensor and the number of its power-on alone: the same
    /// power-ons fail in every run, whichever thread comes first.
    double probability = 0.0;
    int every = 0;  ///< of so many power-ons the last: with 3 the third, the sixth and so on; 0: none
};

/// A 3A control or a peripheral controller: the statuses that it answers. 0 is success. A sensor has one
/// peripheral controller, shared by all that hold it, and a new 3A control for each that asks.
struct Service {
    std::int32_t onStatus = 0;   ///< to a power-on
    std::int32_t offStatus = 0;  ///< to a power-off
    TimeRange onTime;            ///< waited in the call of a power-on, after it was noted
    TimeRange offTime;           ///< waited in the call of a power-off, after it was noted
};

/// What feeds sensors. One that comes up draws the most: of the sensors of one supply, at most so many are
/// let come up at once, and the others wait in their power-on, in the order of their calls.
struct Supply {
    int atOnce = 1;  ///< at least 1; a sensor that hangs in its power-on counts
};

/// One image sensor. By default it answers at once, obeys and has both services.
struct Sensor {
    std::string name;                          ///< for people; the boundary knows a sensor by its id
    TimeRange powerOnTime;                     ///< waited in the call, without spinning
    TimeRange powerOffTime;                    ///< waited in the call, without spinning
    PowerOnFault powerOnFails;                 ///< which power-ons come to nothing
    bool powerOffFails = false;                ///< answers failure and stays powered
    bool powerOnHangs = false;                 ///< power-on does not return until this is changed to false
    bool powerOffHangs = false;                ///< power-off does not return until this is changed to false
    bool hasHandle = true;                     ///< false: the sensor list makes no handle for it
    std::optional<Service> hal3a = Service{};  ///< empty: the sensor has no 3A control
    std::optional<Service> peripheral = Service{};  ///< empty: the sensor has no peripheral controller
    std::vector<int> hal3aAbsent;       ///< the n-th requests for it, counted from 1, that find no 3A control
    std::vector<int> peripheralAbsent;  ///< the same of its peripheral controller
    /// Its supply, by name. One that the settings lack, or none, lets all come up at once.
    std::string supply;
    /// The calls that throw std::runtime_error when they have been noted, without any other effect. Any of
    /// SensorCreate, SensorPowerOn, SensorPowerOff, SensorAfterPowerOn, Hal3AGet, Hal3APowerOn,
    /// Hal3APowerOff, PeripheralGet, PeripheralPowerOn and PeripheralPowerOff; others are passed over.
    std::set<Kind> throws;
    /// What powers it: then `powerOnTime` and `powerOffTime` do not count, a power change takes what that
    /// takes, and fails when that does. It is not asked where the settings make the change fail. Null:
    /// nothing, it is simulated.
    std::shared_ptr<PowerSwitch> powerSwitch;
};

/// When the tasks posted to a queue run.
enum class TaskRuns : std::uint8_t {
    Queued,       ///< on the queue's threads, in the order of the posts
    AtOnce,       ///< inside the post, on the posting thread
    Late,         ///< on the queue's threads, Queue::lateBy after the post, whatever has become of the queue
    Held,         ///< when Board::runHeldTasks is called, whatever has become of the queue
    Dropped,      ///< never: the queue destroys the task
    Twice,        ///< as Queued, and once more after that
    TwiceAtOnce,  ///< as Queued, and on another thread at the same time
};

/// What a post answers.
enum class TaskHandles : std::uint8_t {
    Given,     ///< a handle with the future of the task
    NoHandle,  ///< no handle, though the task is taken
    NoFuture,  ///< a handle without a future
    Throws,    ///< none: the post throws std::runtime_error, though the task is taken
};

/// The task manager's queues. `present` and `threads` count when a queue is made, the rest when a task is
/// posted.
struct Queue {
    bool present = true;                       ///< false: createQueue answers none
    int threads = 1;                           ///< at least 1; they start with the queue
    TaskRuns runs = TaskRuns::Queued;          ///< when tasks run
    std::chrono::microseconds lateBy{0};       ///< of TaskRuns::Late
    TaskHandles handles = TaskHandles::Given;  ///< what a post answers
    bool shared = false;  ///< true: who asks for a queue under a name that one has is given that one
};

/// What becomes of the writes to the kernel's task QoS file. By default they do what the file does
/// (see QosFile). A write that is refused writes nothing.
struct QosWrites {
    std::vector<int> times;  ///< the n-th writes of the board's time that are meant, from 1; empty: all
    int error = 0;           ///< the error number of a refusal: EINTR, EIO, …; 0: not refused
    int atMost = -1;         ///< the bytes that a write takes at most: it may be short; negative: all
    bool hang = false;       ///< a write does not go on until this is changed to false
};

/// The process-wide controls of the camera's logging. By default every line goes to both sinks.
struct LogControls {
    std::uint32_t detailsLevel = 5;  ///< 1: errors only; 2: warnings too; 3: infos too; 5: debug lines too
    std::uint32_t normalDetailsMask = 0x201000;  ///< debug lines need these bits of the library's module
    std::uint32_t mode = 0x3;                    ///< bit 0: the debug print; bit 1 or 3: the unified logger
    bool hasUnifiedLogger = true;                ///< false: there is no instance, whatever the mode says
    std::vector<int> debugPrintLevelsOff;        ///< debug-print level numbers whose record is not enabled
    std::uint8_t debugPrintOtherFlags = 0;  ///< further bits of each record's flags; 0x80 is of no effect
    /// The prefixes of the records, by debug-print level number. Part of a format: without '%'.
    std::array<std::string, 4> debugPrintPrefixes = {"D", "E", "W", "I"};
    /// The text that stands for every source file; empty: the last component of its path. Part of a format:
    /// without '%'.
    std::optional<std::string> fileText;
};

/// What a board is. The default is a board without sensors on which everything else is present.
struct Settings {
    std::map<int, Sensor> sensors;           ///< by sensor id
    std::map<std::string, Supply> supplies;  ///< by name
    bool hasSensorList = true;               ///< false: the process has no sensor list
    std::vector<int> sensorListAbsent;       ///< the n-th requests for it, counted from 1, that find none
    bool hasPowerBudget = true;              ///< false: there is no power budget
    std::vector<int> powerBudgetAbsent;      ///< the n-th requests for it that find none
    Queue queue;                             ///< of all controllers
    QosWrites qosWrites;                     ///< of the whole process, while the board stands
    std::vector<int> affinityCpus;           ///< empty: all that the process may use
    LogControls log;                         ///< of the whole process, while the board stands
    std::uint64_t traceTags = 0x400;         ///< the tags that are traced: the camera's
    std::map<std::string, std::int32_t> properties;  ///< the system properties that are set, by name
    std::uint64_t seed = 1;                          ///< of the faults by chance, and of times
    /// Lines of the unified logger, the debug print and the Android log go here in logcat's threadtime
    /// format; null: nowhere but the journal. As with logd, a text is cut so that it takes 4,068 bytes with
    /// its tag, its level and the ends of both; each line of a text has a header of its own. The board writes
    /// whole texts, one at a time; the stream outlives the board.
    std::ostream* logStream = nullptr;
    /// A descriptor of the kernel tracer's trace_marker: trace sections are written there too, as a device's
    /// tracer does; -1: nowhere but the journal. It stays open as long as the board.
    int traceMarker = -1;
};

/// What a module raised.
struct ExceptionReport {
    std::string module;   ///< who raised it
    std::string message;  ///< as expanded
};

/// A call that no caller may make. The board carries it out all the same, a call on a handle that was
/// released excepted: that one is refused.
struct CallerFault {
    /// One of
    /// - "power-on of a sensor that is on": also asked for by the last power change; one that refused to go
    ///   off may be powered on
    /// - "power-off of a sensor that is off": also asked for by the last power change, if any; one that
    ///   failed to come up may be powered off
    /// - "a call for no sensor": a count of 0, or no indices
    /// - "a handle used for another sensor"
    /// - "a handle used in another caller's name": than the one that it was made for
    /// - "a handle released while its sensor is powered": without a power-off through it since its power-on
    /// - "a handle used after its release": detected for the last 64 handles of each sensor
    std::string what;
    int sensor = 0;                              ///< the handle's
    int thread = 0;                              ///< the kernel's id of the calling thread
    std::chrono::steady_clock::time_point time;  ///< of the call
};

/// Stands behind the platform boundary from its construction to its destruction. All members may be called
/// from any thread. Whoever destroys it guarantees that no controller is in a call and that no other board is
/// made meanwhile; a sensor that hangs then is let go, late tasks are run without further delay, and tasks
/// still held are destroyed. Handles, services and queues may outlive it; a task posted then runs as
/// TaskRuns::Queued.
class ZEQCAM_BOARD_API Board {
  public:
    /// Throws std::logic_error while another board stands.
    explicit Board(Settings settings);
    ~Board();
    Board(Board const&) = delete;
    Board& operator=(Board const&) = delete;

    /// All that crosses the boundary while the board stands, and what its handles are told later. Lives as
    /// long as the board.
    [[nodiscard]] Journal& journal();

    /// Changes the settings under way. Takes effect from the next call across the boundary; a hanging sensor
    /// whose setting becomes false goes on, and so do sensors that their supply lets come up now. Queues that
    /// exist keep their number of threads. `edit` changes nothing else of the board. Earlier settings are
    /// kept until the board goes: meant for a scenario's steps, not for a tight loop.
    void change(std::function<void(Settings&)> const& edit);

    /// A copy of the settings as the last change left them.
    [[nodiscard]] Settings settings() const;

    /// Whether a sensor's last power-on or power-off that succeeded left it powered. False for a sensor that
    /// the board has not. Does not wait for a call on the sensor that is under way.
    [[nodiscard]] bool isPowered(int sensor) const;
    /// The handles made and not yet released, of all sensors.
    [[nodiscard]] int openHandles() const;
    /// The 3A controls and peripheral controllers handed out and not yet released.
    [[nodiscard]] int openServices() const;
    /// All reports raised so far, in order, also while the journal is off.
    [[nodiscard]] std::vector<ExceptionReport> exceptionReports() const;
    /// All faults of callers so far, in order, also while the journal is off. A test ends by asking that it
    /// is empty.
    [[nodiscard]] std::vector<CallerFault> callerFaults() const;

    /// Runs the tasks held so far (TaskRuns::Held), on the calling thread, in the order of their posts.
    void runHeldTasks();

  private:
    struct State;
    std::unique_ptr<State> mState;
};

/// Whether the calling thread is in a call across the boundary, or a thread of the board runs board code.
/// False while a posted task runs. A test's operator new can fail the library's allocations alone with it.
ZEQCAM_BOARD_API bool inBoard();

/// A client's request in the journal: Kind::Request at construction, Kind::Reply at destruction, both on the
/// thread of the client. The board outlives it.
class ZEQCAM_BOARD_API ClientRequest {
  public:
    /// `client` and `request` name them; `sensors` is the list asked for.
    ClientRequest(Board& board, std::string client, std::string request, std::vector<int> sensors = {});
    ~ClientRequest();
    ClientRequest(ClientRequest const&) = delete;
    ClientRequest& operator=(ClientRequest const&) = delete;

    /// Notes the result for the reply and passes it through.
    bool replies(bool result);

  private:
    Board& mBoard;
    std::string mClient;
    std::string mRequest;
    bool mResult = false;
};

}  // namespace zeqcam::board
