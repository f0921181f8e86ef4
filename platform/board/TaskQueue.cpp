#include "TaskQueue.h"

#include "Device.h"

#include <zeqcam/platform/CentralTaskMgr.h>

#include <pthread.h>

#include <algorithm>
#include <latch>
#include <stdexcept>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

namespace zeqcam::board {
namespace {

Entry taskEntry(Kind kind, Task const& task, char const* detail = "") {
    return {.kind = kind, .number = task.value, .text = task.queue, .detail = detail};
}

class Handle final : public NSCam::CTM::TaskHandle {
  public:
    Handle(std::shared_ptr<Device> device, std::string queue, unsigned int value, bool givesFuture)
        : mDevice(std::move(device)), mQueue(std::move(queue)), mValue(value), mGivesFuture(givesFuture) {}
    ~Handle() = default;

    std::shared_future<void> getFuture() override {
        InBoard const inside;
        note(mDevice->journal,
             [this] { return Entry{.kind = Kind::TaskFuture, .number = mValue, .text = mQueue}; });
        std::lock_guard const hold(mLock);
        return mGivesFuture ? mFuture : std::shared_future<void>();
    }

    void setFuture(std::shared_future<void> future) override {
        InBoard const inside;
        note(mDevice->journal, [&] {
            return Entry{.kind = Kind::TaskSetFuture,
                         .number = mValue,
                         .text = mQueue,
                         .detail = future.valid() ? "" : "none"};
        });
        std::lock_guard const hold(mLock);
        mFuture = std::move(future);
    }

  private:
    std::shared_ptr<Device> const mDevice;
    std::string const mQueue;
    unsigned int const mValue;
    bool const mGivesFuture;
    std::mutex mLock;
    std::shared_future<void> mFuture ZEQCAM_GUARDED_BY(mLock);
};

char const* nameOf(TaskHandles handles) {
    switch (handles) {
        case TaskHandles::Given:
            return "given";
        case TaskHandles::NoHandle:
            return "none";
        case TaskHandles::NoFuture:
            return "no future";
        case TaskHandles::Throws:
            return "throws";
    }
    return "?";
}

// The threads of a queue. Made with the queue, so that no post fails for want of a thread and the first task
// starts as fast as any other.
class Threads {
  public:
    explicit Threads(std::shared_ptr<WorkQueue> queue) : mQueue(std::move(queue)) {}

    // Runs what is queued, then joins. Threads that cannot be waited for, because this is one of them or
    // because they have late tasks to run, go on alone and own the queue's tasks until they are done.
    ~Threads() {
        mQueue->close();
        bool const mayJoin = !includesThisThread() && !mQueue->finishDue();
        for (std::thread& thread : mThreads) mayJoin ? thread.join() : thread.detach();
    }
    Threads(Threads const&) = delete;
    Threads& operator=(Threads const&) = delete;

    void start(int count) {
        mThreads.reserve(static_cast<std::size_t>(count));
        for (int i = 0; i < count; ++i) {
            mThreads.emplace_back([queue = mQueue] {
                InBoard const inside;
                queue->work();
            });
        }
    }

  private:
    [[nodiscard]] bool includesThisThread() const {
        return std::any_of(mThreads.begin(), mThreads.end(), [](std::thread const& thread) {
            return thread.get_id() == std::this_thread::get_id();
        });
    }

    std::shared_ptr<WorkQueue> const mQueue;
    std::vector<std::thread> mThreads;
};

void runOnce(Device& device, Task const& task) {
    note(device.journal, [&] { return taskEntry(Kind::TaskRun, task); });
    {
        InBoard const outside(false);
        (*task.function)();
    }
    note(device.journal, [&] { return taskEntry(Kind::TaskRunDone, task); });
}

void runOnTwoThreads(Device& device, Task const& task) {
    std::latch bothAreThere(2);
    auto const run = [&] {
        bothAreThere.arrive_and_wait();
        runOnce(device, task);
    };
    std::thread other([&] {
        InBoard const inside;
        run();
    });
    run();
    other.join();
}

}  // namespace

void runTask(Device& device, Task const& task) {
    if (task.runs == TaskRuns::TwiceAtOnce) return runOnTwoThreads(device, task);
    runOnce(device, task);
    if (task.runs == TaskRuns::Twice) runOnce(device, task);
}

void noteDropped(Device& device, Task const& task) {
    note(device.journal, [&] { return taskEntry(Kind::TaskDrop, task); });
}

WorkQueue::WorkQueue(std::shared_ptr<Device> device, std::string name)
    : mDevice(std::move(device)), mName(std::move(name)) {}

void WorkQueue::post(Task task, std::chrono::microseconds delay) {
    std::lock_guard const hold(mLock);
    mTasks.emplace(std::chrono::steady_clock::now() + delay, std::move(task));
    mChanged.notify_all();
}

void WorkQueue::work() {
    // The kernel keeps fifteen characters of a thread's name.
    pthread_setname_np(pthread_self(), mName.substr(0, 15).c_str());
    while (std::optional<Task> task = next()) {
        runTask(*mDevice, *task);
        task.reset();
        taskDone();
    }
}

void WorkQueue::close() {
    std::lock_guard const hold(mLock);
    mClosed = true;
    mChanged.notify_all();
}

bool WorkQueue::finishDue() {
    std::lock_guard const hold(mLock);
    while (hasDue() || mRunning > 0) mChanged.wait(mLock);
    return !mTasks.empty();
}

void WorkQueue::hurry() {
    std::lock_guard const hold(mLock);
    mHurried = true;
    mChanged.notify_all();
    while (!mTasks.empty() || mRunning > 0) mChanged.wait(mLock);
}

// The next task whose time has come, or none when the queue is closed and nothing is left to run.
std::optional<Task> WorkQueue::next() {
    std::lock_guard const hold(mLock);
    while (!hasDue()) {
        if (!mTasks.empty()) {
            // A copy, because another thread may take that task meanwhile.
            auto const due = mTasks.begin()->first;
            mChanged.wait_until(mLock, due);
        } else if (mClosed) {
            return {};
        } else {
            mChanged.wait(mLock);
        }
    }
    ++mRunning;
    return std::move(mTasks.extract(mTasks.begin()).mapped());
}

void WorkQueue::taskDone() {
    std::lock_guard const hold(mLock);
    --mRunning;
    mChanged.notify_all();
}

bool WorkQueue::hasDue() const {
    return !mTasks.empty() && (mHurried || mTasks.begin()->first <= std::chrono::steady_clock::now());
}

}  // namespace zeqcam::board

namespace NSCam::CTM {

using namespace zeqcam::board;

class TaskQueue {
  public:
    TaskQueue(std::shared_ptr<WorkQueue> work, std::unique_ptr<Threads> threads)
        : mWork(std::move(work)), mThreads(std::move(threads)) {}

    ~TaskQueue() {
        InBoard const inside;
        note(mWork->device().journal,
             [this] { return Entry{.kind = Kind::QueueRelease, .text = mWork->name()}; });
        mThreads.reset();
    }
    TaskQueue(TaskQueue const&) = delete;
    TaskQueue& operator=(TaskQueue const&) = delete;

    std::shared_ptr<TaskHandle> post(unsigned int value, std::unique_ptr<std::function<void()>> function) {
        Device& device = mWork->device();
        Queue const& settings = device.settings().queue;
        std::shared_ptr<TaskHandle> handle;
        if (settings.handles == TaskHandles::Given || settings.handles == TaskHandles::NoFuture) {
            bool const givesFuture = settings.handles == TaskHandles::Given;
            handle = std::make_shared<Handle>(device.shared_from_this(), mWork->name(), value, givesFuture);
        }
        TaskRuns const runs = device.isRetired() ? TaskRuns::Queued : settings.runs;
        Task task{std::move(function), mWork->name(), value, runs};
        note(device.journal, [&] { return taskEntry(Kind::TaskPost, task, nameOf(settings.handles)); });
        take(std::move(task), settings.lateBy);
        if (settings.handles == TaskHandles::Throws) throw std::runtime_error("a post is set to throw");
        return handle;
    }

  private:
    void take(Task task, std::chrono::microseconds lateBy) {
        Device& device = mWork->device();
        switch (task.runs) {
            case TaskRuns::Queued:
            case TaskRuns::Twice:
            case TaskRuns::TwiceAtOnce:
                return mWork->post(std::move(task), std::chrono::microseconds(0));
            case TaskRuns::Late:
                return mWork->post(std::move(task), lateBy);
            case TaskRuns::AtOnce:
                return runTask(device, task);
            case TaskRuns::Held:
                return device.hold(std::move(task));
            case TaskRuns::Dropped:
                return noteDropped(device, task);
        }
    }

    std::shared_ptr<WorkQueue> const mWork;
    std::unique_ptr<Threads> mThreads;
};

namespace {

// Empty when the system gives it no thread.
std::shared_ptr<TaskQueue> makeQueue(Device& device, std::string const& name) {
    auto work = std::make_shared<WorkQueue>(device.shared_from_this(), name);
    auto threads = std::make_unique<Threads>(work);
    try {
        threads->start(std::max(device.settings().queue.threads, 1));
    } catch (std::system_error const&) {
        return {};
    }
    device.add(work);
    return std::make_shared<TaskQueue>(std::move(work), std::move(threads));
}

}  // namespace

std::shared_ptr<TaskQueue> CentralTaskMgr::createQueue(QueueParam const& param) {
    InBoard const inside;
    Device* const device = standing();
    if (!device) return {};
    Queue const& settings = device->settings().queue;
    auto const make = [&] { return makeQueue(*device, param.name); };
    auto queue = !settings.present ? nullptr
                 : settings.shared ? device->sharedQueue(param.name, make)
                                   : make();
    note(device->journal, [&] {
        return Entry{.kind = Kind::QueueCreate,
                     .number = param.type,
                     .text = param.name,
                     .detail = queue ? "" : "missing"};
    });
    return queue;
}

std::shared_ptr<TaskHandle> CentralTaskMgr::_asyncPost(std::shared_ptr<TaskQueue>& queue, unsigned int value,
                                                       std::unique_ptr<std::function<void()>>& function) {
    InBoard const inside;
    if (queue && function && *function) return queue->post(value, std::move(function));
    if (Device* const device = standing()) {
        note(device->journal,
             [&] { return Entry{.kind = Kind::TaskPost, .number = value, .detail = "none"}; });
    }
    return {};
}

}  // namespace NSCam::CTM
