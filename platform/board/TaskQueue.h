#pragma once

#include <zeqcam/ThreadSafety.h>
#include <zeqcam/board/Board.h>

#include <chrono>
#include <condition_variable>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

namespace zeqcam::board {

class Device;

struct Task {
    std::unique_ptr<std::function<void()>> function;
    std::string queue;
    unsigned int value = 0;
    TaskRuns runs = TaskRuns::Queued;  // how often, and on how many threads
};

// Runs it as its owner's code, on the calling thread; where it is to run on two at once, on another too.
void runTask(Device& device, Task const& task);
// Notes that it will never run. The caller destroys it.
void noteDropped(Device& device, Task const& task);

// The tasks of one queue and the threads at work on them. Its threads and the queue own it together, so that
// tasks which are late still run when the queue has been released.
class WorkQueue {
  public:
    WorkQueue(std::shared_ptr<Device> device, std::string name);

    [[nodiscard]] Device& device() const { return *mDevice; }
    [[nodiscard]] std::string const& name() const { return mName; }

    void post(Task task, std::chrono::microseconds delay);

    // What a thread of the queue does, until the queue is closed and empty.
    void work();

    // No task will be posted any more: the threads end when they have run what there is.
    void close();
    // Waits until every task whose time has come has run. Answers whether late ones remain.
    bool finishDue();
    // Runs the late tasks without delay, from now on, and waits until nothing is left to run.
    void hurry();

  private:
    std::optional<Task> next();
    void taskDone();
    [[nodiscard]] bool hasDue() const ZEQCAM_REQUIRES(mLock);

    std::shared_ptr<Device> const mDevice;
    std::string const mName;
    std::mutex mLock;
    std::condition_variable_any mChanged;
    std::multimap<std::chrono::steady_clock::time_point, Task> mTasks
        ZEQCAM_GUARDED_BY(mLock);  // by the time to run them
    int mRunning ZEQCAM_GUARDED_BY(mLock) = 0;
    bool mClosed ZEQCAM_GUARDED_BY(mLock) = false;
    bool mHurried ZEQCAM_GUARDED_BY(mLock) = false;
};

}  // namespace zeqcam::board
