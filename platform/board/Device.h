#pragma once

#include "ImageSensor.h"
#include "Rail.h"
#include "TaskQueue.h"

#include <zeqcam/ThreadSafety.h>
#include <zeqcam/board/Board.h>
#include <zeqcam/board/Journal.h>

#include <atomic>
#include <condition_variable>
#include <cstdarg>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace NSCam::CTM {
class TaskQueue;
}

namespace zeqcam::board {

// Asked in every call, so it is where no lookup is needed: the board is there from the start of its process.
extern constinit thread_local bool tInBoard [[gnu::tls_model("initial-exec")]];

// What inBoard() answers on this thread until the scope ends.
class InBoard {
  public:
    explicit InBoard(bool inBoard = true) : mOuter(std::exchange(tInBoard, inBoard)) {}
    ~InBoard() { tInBoard = mOuter; }
    InBoard(InBoard const&) = delete;
    InBoard& operator=(InBoard const&) = delete;

  private:
    bool const mOuter;
};

// For calls that may not throw, from C and from destructors: what memory is lacking for is left out.
template <class Call>
void withoutThrowing(Call const& call) noexcept {
    try {
        call();
    } catch (...) {
    }
}

// `describe` makes the entry, and is not called while the journal is off.
template <class Describe>
void note(Journal& journal, Describe const& describe) noexcept {
    if (!journal.isOn()) return;
    withoutThrowing([&] { journal.add(describe()); });
}

inline char const* textOf(char const* text) {
    return text ? text : "(null)";
}

std::string expand(char const* format, std::va_list values);

// What stands behind the boundary. The board owns it together with every handle, service and queue that it
// has handed out, so that these stay harmless when the board has gone.
//
// Calls of different threads meet on no lock that the device would not have either: a lock here would order
// them and hide races of the code under test.
class Device : public std::enable_shared_from_this<Device> {
  public:
    explicit Device(Settings settings);

    std::uint64_t const serial;  // differs from that of every other device of the process
    Journal journal;
    std::atomic<int> openHandles = 0;
    std::atomic<int> openServices = 0;
    std::atomic<int> sensorListRequests = 0;
    std::atomic<int> powerBudgetRequests = 0;
    std::atomic<int> qosWrites = 0;

    // Stays valid, with its present values, as long as the device.
    [[nodiscard]] Settings const& settings() const { return present().settings; }
    // Null when the board has no such sensor.
    [[nodiscard]] Sensor const* settingsOf(int sensor) const;
    // Null when the board never had such a sensor.
    [[nodiscard]] ImageSensor* sensor(int id) const;
    // Null when the settings have no such supply.
    [[nodiscard]] std::shared_ptr<Rail> rail(std::string const& supply) const;
    void change(std::function<void(Settings&)> const& edit);

    // Lets go whatever waits: sensors stop waiting, late tasks run, held tasks are destroyed.
    void retire();
    [[nodiscard]] bool isRetired() const { return mRetired.load(std::memory_order_acquire); }

    void add(std::shared_ptr<WorkQueue> const& queue);
    void hold(Task task);
    std::vector<Task> takeHeld();

    void add(ExceptionReport report);
    [[nodiscard]] std::vector<ExceptionReport> exceptionReports() const;

    // `what` as in CallerFault. Leaves an entry in the journal too.
    void addFault(char const* what, int sensor) noexcept;
    [[nodiscard]] std::vector<CallerFault> callerFaults() const;

    // Waits while the settings let writes to the QoS file hang.
    void hangQosWrite();

    // The queue that has this name already, or the one that `make` makes and that has it from now on.
    template <class Make>
    std::shared_ptr<NSCam::CTM::TaskQueue> sharedQueue(std::string const& name, Make const& make) {
        std::lock_guard const hold(mSharedLock);
        auto queue = mShared[name].lock();
        if (!queue) mShared[name] = queue = make();
        return queue;
    }

    // Its lines in logcat's threadtime format to the stream of the settings.
    void writeLogText(char level, char const* tag, std::string_view text);

  private:
    struct Version {
        Settings settings;
        std::map<int, std::shared_ptr<ImageSensor>> sensors;  // those of earlier versions too
        std::map<std::string, std::shared_ptr<Rail>> rails;   // the same
    };

    [[nodiscard]] Version const& present() const { return *mPresent.load(std::memory_order_acquire); }
    void publish(std::unique_ptr<Version> version) ZEQCAM_REQUIRES(mChanging);
    // Lets whoever hangs look at the settings again.
    void wake();

    std::atomic<Version const*> mPresent = nullptr;
    std::atomic<bool> mRetired = false;

    std::mutex mChanging;
    // All versions are kept: readers take no lock and no share.
    std::vector<std::unique_ptr<Version const>> mVersions ZEQCAM_GUARDED_BY(mChanging);

    std::mutex mQueuesLock;
    std::vector<std::weak_ptr<WorkQueue>> mQueues ZEQCAM_GUARDED_BY(mQueuesLock);
    std::vector<Task> mHeld ZEQCAM_GUARDED_BY(mQueuesLock);

    mutable std::mutex mReportsLock;
    std::vector<ExceptionReport> mReports ZEQCAM_GUARDED_BY(mReportsLock);

    mutable std::mutex mFaultsLock;
    std::vector<CallerFault> mFaults ZEQCAM_GUARDED_BY(mFaultsLock);

    std::mutex mSharedLock;
    std::map<std::string, std::weak_ptr<NSCam::CTM::TaskQueue>> mShared ZEQCAM_GUARDED_BY(mSharedLock);

    std::mutex mQosLock;
    std::condition_variable_any mQosGoesOn;

    std::mutex mStreamLock;  // held while a text is written
};

// The device of the board that stands, or null. It stays until the call across the boundary ends: whoever
// destroys a board guarantees that.
Device* standing();

// Whether the settings leave out the request that is made now, the n-th of `requests`.
bool isAbsent(std::vector<int> const& absent, std::atomic<int>& requests);

// Throws if the settings say so of this call on a sensor or its services.
void throwIfSet(Device const& device, int sensor, Kind call);

// Sets the process-wide controls that the camera's logging reads. They refer to `controls` until they are
// set anew or cleared.
void setLogControls(LogControls const& controls);
// Makes them those of a process without a board.
void clearLogControls();

}  // namespace zeqcam::board
