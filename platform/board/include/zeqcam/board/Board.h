#pragma once

#include <zeqcam/board/Journal.h>
#include <zeqcam/board/Visibility.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <iosfwd>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

// A simulated phone board behind the platform boundary of the power sequencing library.
//
//     zeqcam::board::Settings settings;
//     settings.sensors[0];                                     // a sensor that answers at once, with both
//     services settings.sensors[2] = {.powerOnTime = 5ms, .powerOnFails = {.always = true}};
//     zeqcam::board::Board board(std::move(settings));         // now the library finds this board
//     auto controller = NSCam::IPowerOnOffController::create({.sensorIds = {0, 2}});
//     controller->powerOn({0, 2});
//     board.journal().entries(Kind::ExceptionReport);          // one report: sensor 2 failed
//
// One board stands at a time. Without one the boundary answers as a device on which everything is missing.
namespace zeqcam::board {

// Which power-ons of a sensor fail: by default none. Any of the members may make one fail.
struct PowerOnFault {
    bool always = false;
    std::vector<int> times;    // the n-th power-ons of the sensor, counted from 1
    double probability = 0.0;  // 0 to 1, drawn from the board's seed
};

// A 3A control or a peripheral controller: the statuses that it answers. 0 is success.
struct Service {
    std::int32_t onStatus = 0;
    std::int32_t offStatus = 0;
};

struct Sensor {
    std::string name;
    std::chrono::microseconds powerOnTime{0};  // waited in the call, without spinning
    std::chrono::microseconds powerOffTime{0};
    PowerOnFault powerOnFails;
    bool powerOffFails = false;  // answers failure and stays powered
    bool powerOnHangs = false;   // power-on does not return until this is changed to false
    bool powerOffHangs = false;
    bool hasHandle = true;                          // false: the sensor list makes no handle for it
    std::optional<Service> hal3a = Service{};       // empty: the sensor has no 3A control
    std::optional<Service> peripheral = Service{};  // empty: the sensor has no peripheral controller
};

enum class TaskRuns : std::uint8_t {
    Queued,   // on the queue's threads, in the order of the posts
    AtOnce,   // inside the post, on the posting thread
    Late,     // on the queue's threads, `lateBy` after the post, even if the queue has been released by then
    Held,     // when Board::runHeldTasks is called, whatever has become of the queue
    Dropped,  // never: the queue destroys the task
};

enum class TaskHandles : std::uint8_t { Given, None, NoFuture };

struct Queue {
    bool present = true;  // false: createQueue answers none
    int threads = 1;
    TaskRuns runs = TaskRuns::Queued;
    std::chrono::microseconds lateBy{0};
    TaskHandles handles = TaskHandles::Given;
};

struct LogControls {
    std::uint32_t detailsLevel = 5;
    std::uint32_t normalDetailsMask = 0x201000;
    std::uint32_t mode = 0x3;  // both sinks
    bool hasUnifiedLogger = true;
    std::vector<int> debugPrintLevelsOff;  // debug-print level numbers whose record is not enabled
};

struct Settings {
    std::map<int, Sensor> sensors;  // by sensor id
    bool hasSensorList = true;
    bool hasPowerBudget = true;
    Queue queue;
    std::vector<int> affinityCpus;  // empty: all that the process may use
    LogControls log;
    std::uint64_t traceTags = 0x400;  // the camera tag
    std::map<std::string, std::int32_t> properties;
    std::uint64_t seed = 1;  // of the faults by chance
    // Lines of the unified logger, the debug print and the Android log go here in logcat's threadtime format;
    // null: nowhere but the journal. The board writes whole lines, one at a time; the stream outlives the
    // board.
    std::ostream* logStream = nullptr;
};

struct ExceptionReport {
    std::string module;
    std::string message;
};

// Stands behind the platform boundary from its construction to its destruction. All members may be called
// from any thread. Whoever destroys it guarantees that no controller is in a call and that no other board is
// made meanwhile; a sensor that hangs then is let go, late tasks are run without further delay, and tasks
// still held are destroyed. Handles, services and queues may outlive it; a task posted then runs as
// TaskRuns::Queued.
class ZEQCAM_BOARD_API Board {
  public:
    // Throws std::logic_error while another board stands.
    explicit Board(Settings settings);
    ~Board();
    Board(Board const&) = delete;
    Board& operator=(Board const&) = delete;

    [[nodiscard]] Journal& journal();

    // Changes the settings under way. Takes effect from the next call across the boundary; a hanging sensor
    // whose setting becomes false goes on. Queues that exist keep their number of threads. `edit` changes
    // nothing else of the board. Earlier settings are kept until the board goes: meant for a scenario's
    // steps, not for a tight loop.
    void change(std::function<void(Settings&)> const& edit);

    // Whether a sensor's last power-on or power-off that succeeded left it powered.
    [[nodiscard]] bool isPowered(int sensor) const;
    // The handles made and not yet released, of all sensors.
    [[nodiscard]] int openHandles() const;
    // The 3A controls and peripheral controllers handed out and not yet released.
    [[nodiscard]] int openServices() const;
    [[nodiscard]] std::vector<ExceptionReport> exceptionReports() const;

    // Runs the tasks held so far (TaskRuns::Held), on the calling thread, in the order of their posts.
    void runHeldTasks();

  private:
    struct State;
    std::unique_ptr<State> mState;
};

// Whether the calling thread is in a call across the boundary, or a thread of the board runs board code.
// False while a posted task runs. A test's operator new can fail the library's allocations alone with it.
ZEQCAM_BOARD_API bool inBoard();

// A client's request in the journal, from construction to destruction.
class ZEQCAM_BOARD_API ClientRequest {
  public:
    ClientRequest(Board& board, std::string client, std::string request, std::vector<int> sensors = {});
    ~ClientRequest();
    ClientRequest(ClientRequest const&) = delete;
    ClientRequest& operator=(ClientRequest const&) = delete;

    // Notes the result for the reply and passes it through.
    bool replies(bool result);

  private:
    Board& mBoard;
    std::string mClient;
    std::string mRequest;
    bool mResult = false;
};

}  // namespace zeqcam::board
