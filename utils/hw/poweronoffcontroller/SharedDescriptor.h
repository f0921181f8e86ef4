#pragma once

#include <zeqcam/ThreadSafety.h>

#include <fcntl.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <mutex>

namespace NSCam {

// A file descriptor that many threads write through at the same time. It is opened by the first use, stays
// open, and is forgotten after a failure: later uses open the file again, and the last of those still writing
// through the forgotten one closes it. So no write waits for another's, and none reaches a closed descriptor.
class SharedDescriptor {
  public:
    constexpr explicit SharedDescriptor(char const* path) : mPath(path) {}

    // One thread's use of the descriptor, from construction to destruction.
    class Use {
      public:
        // Leaves errno as `open` left it when the file cannot be opened.
        explicit Use(SharedDescriptor& shared) : mShared(shared) { mShared.enter(*this); }
        ~Use() {
            if (mDescriptor >= 0) mShared.leave(*this);
        }
        Use(Use const&) = delete;
        Use& operator=(Use const&) = delete;

        // Negative when the file cannot be opened.
        [[nodiscard]] int get() const { return mDescriptor; }
        void forget() { mFailed = true; }

      private:
        friend class SharedDescriptor;
        SharedDescriptor& mShared;
        int mDescriptor = -1;
        bool mOwn = false;  // opened while a forgotten descriptor still had users: not counted in mState
        bool mFailed = false;
    };

  private:
    struct alignas(std::uint64_t) State {
        std::int32_t descriptor = -1;
        std::uint32_t users : 31 = 0;
        bool forgotten : 1 = false;
    };

    void enter(Use& use) {
        if (join(use)) return;
        std::lock_guard const opening(mOpening);  // one opens the file, the others find it open
        if (join(use)) return;
        use.mDescriptor = ::open(mPath, O_WRONLY);
        if (use.mDescriptor < 0) return;
        State closed;
        use.mOwn = !mState.compare_exchange_strong(closed, State{use.mDescriptor, 1, false});
    }

    bool join(Use& use) {
        State seen = mState.load();
        while (seen.descriptor >= 0 && !seen.forgotten) {
            State joined = seen;
            ++joined.users;
            if (!mState.compare_exchange_weak(seen, joined)) continue;
            use.mDescriptor = seen.descriptor;
            return true;
        }
        return false;
    }

    void leave(Use const& use) {
        if (use.mOwn ? keepsOwn(use) : keepsShared(use)) return;
        ::close(use.mDescriptor);
    }

    // A descriptor opened beside a forgotten one takes its place if that has gone by now.
    bool keepsOwn(Use const& use) {
        State closed;
        return !use.mFailed && mState.compare_exchange_strong(closed, State{use.mDescriptor, 0, false});
    }

    bool keepsShared(Use const& use) {
        State seen = mState.load();
        State left;
        do {
            left = seen;
            --left.users;
            if (use.mFailed) left.forgotten = true;
            if (left.forgotten && left.users == 0) left = State{};
        } while (!mState.compare_exchange_weak(seen, left));
        return left.descriptor >= 0;
    }

    char const* const mPath;
    std::mutex mOpening;
    std::atomic<State> mState{State{}};
    static_assert(std::atomic<State>::is_always_lock_free);
};

}  // namespace NSCam
