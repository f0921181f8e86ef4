#pragma once

#include <zeqcam/platform/Visibility.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <future>
#include <memory>
#include <string>
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
    // gave no handle for it. The future becomes ready when the task has run, or when the queue destroys it
    // unrun.
    template <class Task>
    static std::shared_ptr<TaskHandle> asyncPost(std::shared_ptr<TaskQueue>& queue, unsigned int value,
                                                 Task&& task) {
        auto const posted = std::make_shared<Posted>(std::forward<Task>(task));
        std::shared_future<void> const future = posted->future();
        auto function = std::make_unique<std::function<void()>>([posted] { posted->settle(true); });
        std::shared_ptr<TaskHandle> handle = _asyncPost(queue, value, function);
        if (handle) handle->setFuture(future);
        return handle;
    }

    static std::shared_ptr<TaskHandle> _asyncPost(std::shared_ptr<TaskQueue>& queue, unsigned int value,
                                                  std::unique_ptr<std::function<void()>>& function);

  private:
    // Runs its task at most once, however often the queue calls it. A task that the queue destroys is settled
    // without running it: a promise broken in a destructor would need memory and end the process where there
    // is none.
    class Posted {
      public:
        template <class Task>
        explicit Posted(Task task)
            : mTask([task = std::move(task)](bool runs) mutable {
                  if (runs) task();
              }) {}
        ~Posted() { settle(false); }
        Posted(Posted const&) = delete;
        Posted& operator=(Posted const&) = delete;

        [[nodiscard]] std::shared_future<void> future() { return mTask.get_future().share(); }
        void settle(bool runs) {
            if (!mSettled.exchange(true)) mTask(runs);
        }

      private:
        std::packaged_task<void(bool)> mTask;
        std::atomic<bool> mSettled{false};
    };
};

}  // namespace NSCam::CTM
