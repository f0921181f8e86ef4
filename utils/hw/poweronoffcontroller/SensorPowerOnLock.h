#pragma once

#include <zeqcam/ThreadSafety.h>

#include <atomic>
#include <cstdint>
#include <mutex>

namespace NSCam {

// The process-wide power-on lock. A power-on takes it with one attempt and leaves it held; any thread's
// power-off may release it, also while it is free; waiters never hold it, so none of them keeps a power-on
// from taking it.
class SensorPowerOnLock {
  public:
    // One attempt, never a wait. `holder` names the controller whose power-on takes it.
    bool tryAcquire(void const* holder) {
        std::lock_guard const change(mChange);
        if (mHolder != nullptr) return false;
        mHolder = holder;
        mTurn.fetch_add(1);
        return true;
    }

    // Whoever holds it. A release while it is free leaves it free.
    void release() {
        {
            std::lock_guard const change(mChange);
            if (mHolder == nullptr) return;
            free();
        }
        mTurn.notify_all();
    }

    // Leaves it alone while another controller's power-on holds it.
    void releaseHeldBy(void const* holder) {
        {
            std::lock_guard const change(mChange);
            if (mHolder != holder) return;
            free();
        }
        mTurn.notify_all();
    }

    // Returns once it has been free since the call: each change has a turn of its own, so a waiter sees a
    // release even when the next power-on has taken the lock before the waiter woke.
    void wait() const {
        std::uint32_t const turn = mTurn.load();
        if (isHeld(turn)) mTurn.wait(turn);
    }

  private:
    // Taking makes the turn odd, releasing makes it even.
    static bool isHeld(std::uint32_t turn) { return (turn & 1U) != 0; }

    void free() REQUIRES(mChange) {
        mHolder = nullptr;
        mTurn.fetch_add(1);
    }

    std::mutex mChange;  // held for a few instructions only
    void const* mHolder GUARDED_BY(mChange) = nullptr;
    std::atomic<std::uint32_t> mTurn{0};
};

}  // namespace NSCam
