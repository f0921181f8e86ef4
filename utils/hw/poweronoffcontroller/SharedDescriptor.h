#pragma once

#include <zeqcam/ThreadSafety.h>

#include <fcntl.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <mutex>
#include <new>

namespace NSCam {

// A file descriptor that many threads write through at the same time. The first use opens it and it stays
// open. After a failed write it is forgotten: the last that still uses it closes it, and whoever comes
// meanwhile shares the file opened once more. A use of a file that is open takes no lock.
class SharedDescriptor {
    // One opening of the file. Never freed, but used again for a later opening, so that a thread which has
    // just found it may look at it whatever has become of it.
    struct Opening {
        int descriptor = -1;
        // Of its users, and one for as long as it is not forgotten. None: it is closed.
        std::atomic<unsigned> shares{0};
        Opening* next = nullptr;

        // False when it is closed.
        bool join() {
            unsigned seen = shares.load();
            while (seen != 0 && !shares.compare_exchange_weak(seen, seen + 1)) {
            }
            return seen != 0;
        }
        void leave() {
            int const open = descriptor;  // of the next opening, as soon as the last share has gone
            if (shares.fetch_sub(1) == 1) ::close(open);
        }
    };

  public:
    constexpr explicit SharedDescriptor(char const* path) : mPath(path) {}

    // One thread's use of the descriptor, from construction to destruction.
    class Use {
      public:
        // Leaves errno as `open` left it when the file cannot be opened.
        explicit Use(SharedDescriptor& shared) : mShared(shared), mOpening(shared.enter()) {}
        ~Use() {
            if (mOpening != nullptr) mOpening->leave();
        }
        Use(Use const&) = delete;
        Use& operator=(Use const&) = delete;

        // Negative when the file cannot be opened.
        [[nodiscard]] int get() const { return mOpening != nullptr ? mOpening->descriptor : -1; }
        void forget() {
            Opening* present = mOpening;
            if (mShared.mPresent.compare_exchange_strong(present, nullptr)) mOpening->leave();
        }

      private:
        SharedDescriptor& mShared;
        Opening* const mOpening;
    };

  private:
    Opening* enter() {
        if (Opening* const joined = join()) return joined;
        std::lock_guard const opening(mOpenLock);  // one opens the file, the others find it open
        if (Opening* const joined = join()) return joined;
        return open();
    }

    Opening* join() {
        Opening* const present = mPresent.load();
        return present != nullptr && present->join() ? present : nullptr;
    }

    Opening* open() ZEQCAM_REQUIRES(mOpenLock) {
        Opening* opening = &mOpenings;
        while (opening->shares.load() != 0) {  // forgotten, and still written through
            if (opening->next == nullptr) opening->next = new (std::nothrow) Opening;
            opening = opening->next;
            if (opening == nullptr) return errno = ENOMEM, nullptr;
        }
        int const descriptor = ::open(mPath, O_WRONLY);
        if (descriptor < 0) return nullptr;
        opening->descriptor = descriptor;
        opening->shares.store(2);
        mPresent.store(opening);
        return opening;
    }

    char const* const mPath;
    std::atomic<Opening*> mPresent{nullptr};  // null: not open, or forgotten
    std::mutex mOpenLock;
    Opening mOpenings ZEQCAM_GUARDED_BY(mOpenLock);  // of them all, the first
};

}  // namespace NSCam
