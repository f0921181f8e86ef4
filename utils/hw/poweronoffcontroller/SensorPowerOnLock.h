#pragma once

#include <atomic>
#include <cstdint>

namespace NSCam {

// The process-wide power-on lock. A power-on takes it with one attempt and leaves it held; any thread's
// power-off may release it, also while it is free; waiters never hold it, so none of them keeps a power-on
// from taking it. Only `wait` ever waits.
class SensorPowerOnLock {
  public:
    // `holder` names the controller whose power-on takes it.
    bool tryAcquire(void const* holder) {
        void const* nobody = nullptr;
        return mHolder.compare_exchange_strong(nobody, holder);
    }

    // Whoever holds it. A release while it is free leaves it free.
    void release() {
        if (mHolder.exchange(nullptr) != nullptr) wakeWaiters();
    }

    // Leaves it alone while another controller's power-on holds it.
    void releaseHeldBy(void const* holder) {
        if (mHolder.compare_exchange_strong(holder, nullptr)) wakeWaiters();
    }

    // Returns once it has been free since the call: every release counts, so a waiter sees one even when the
    // next power-on has taken the lock before the waiter woke. The count is read first: a release that comes
    // after the look at the holder changes it.
    void wait() const {
        std::uint32_t const seen = mReleases.load();
        if (mHolder.load() != nullptr) mReleases.wait(seen);
    }

  private:
    void wakeWaiters() {
        mReleases.fetch_add(1);
        mReleases.notify_all();
    }

    std::atomic<void const*> mHolder{nullptr};
    std::atomic<std::uint32_t> mReleases{0};
};

}  // namespace NSCam
