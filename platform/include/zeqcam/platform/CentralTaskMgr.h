#pragma once

#include <zeqcam/platform/Visibility.h>

#include <atomic>
#include <cstdint>
#include <exception>
#include <functional>
#include <future>
#include <memory>
#include <string>
#include <type_traits>
#include <utility>

namespace NSCam::CTM {

class TaskQueue;

class ZEQCAM_PLATFORM_API TaskHandle {
  public:
    virtual void reserved0() {}
    virtual std::shared_future<void> getFuture() = 0;
    virtual void reserved2() {}
    virtual void reserved3() {}
    virtual void setFuture(std::shared_future<void> future) = 0;

  protected:
    ~TaskHandle() = default;
};

// The camera stack's task queues.
class ZEQCAM_PLATFORM_API CentralTaskMgr {
  public:
    struct QueueParam {
        std::string name;
        std::int32_t type = 0;  // its meaning is the task manager's
    };

    // Empty when the queue cannot be made.
    static std::shared_ptr<TaskQueue> createQueue(QueueParam const& param);

    // Posts `task` and gives the handle the future of its completion. Empty when the queue took no task or
    // gave no handle for it. The future becomes ready when the task has run, with what it threw; one that the
    // queue destroys unrun leaves it broken, as of a broken promise.
    template <class Task>
    static std::shared_ptr<TaskHandle> asyncPost(std::shared_ptr<TaskQueue>& queue, unsigned int value,
                                                 Task&& task) {
        auto const posted = std::make_shared<Posted<std::decay_t<Task>>>(std::forward<Task>(task));
        std::shared_future<void> const future = posted->future();
        auto function = std::make_unique<std::function<void()>>([posted] { posted->run(); });
        std::shared_ptr<TaskHandle> handle = _asyncPost(queue, value, function);
        if (handle) handle->setFuture(future);
        return handle;
    }

    static std::shared_ptr<TaskHandle> _asyncPost(std::shared_ptr<TaskQueue>& queue, unsigned int value,
                                                  std::unique_ptr<std::function<void()>>& function);

  private:
    // Made once and never destroyed: queues may drop tasks while the process ends.
    static std::exception_ptr const& brokenPromise() {
        static std::exception_ptr const& made = *new std::exception_ptr(
            std::make_exception_ptr(std::future_error(std::future_errc::broken_promise)));
        return made;
    }

    // Runs its task at most once, however often the queue calls it. What breaks the promise of one that never
    // runs is had before the post: a destructor that had to make it would need memory, and end the process
    // where there is none.
    template <class Task>
    class Posted {
      public:
        explicit Posted(Task task) : mTask(std::move(task)) {}
        ~Posted() {
            if (!mBegun.exchange(true)) mPromise.set_exception(mBroken);
        }
        Posted(Posted const&) = delete;
        Posted& operator=(Posted const&) = delete;

        [[nodiscard]] std::shared_future<void> future() { return mPromise.get_future().share(); }
        void run() {
            if (mBegun.exchange(true)) return;
            try {
                mTask();
                mPromise.set_value();
            } catch (...) {
                mPromise.set_exception(std::current_exception());
            }
        }

      private:
        Task mTask;
        std::promise<void> mPromise;
        std::exception_ptr const mBroken = brokenPromise();
        std::atomic<bool> mBegun{false};
    };
};

}  // namespace NSCam::CTM
