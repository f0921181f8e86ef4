#pragma once

#include <zeqcam/platform/Visibility.h>

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
    // gave no handle for it.
    template <class Task>
    static std::shared_ptr<TaskHandle> asyncPost(std::shared_ptr<TaskQueue>& queue, unsigned int value,
                                                 Task&& task) {
        auto const packaged = std::make_shared<std::packaged_task<void()>>(std::forward<Task>(task));
        std::shared_future<void> const future = packaged->get_future().share();
        auto function = std::make_unique<std::function<void()>>([packaged] { (*packaged)(); });
        std::shared_ptr<TaskHandle> handle = _asyncPost(queue, value, function);
        if (handle) handle->setFuture(future);
        return handle;
    }

    static std::shared_ptr<TaskHandle> _asyncPost(std::shared_ptr<TaskQueue>& queue, unsigned int value,
                                                  std::unique_ptr<std::function<void()>>& function);
};

}  // namespace NSCam::CTM
