#pragma once

#include <zeqcam/ThreadSafety.h>

#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>

namespace zeqcam::board {

class Device;

// A supply at work: lets so many sensors come up at once as the settings say, in the order of their calls. It
// is a thing that the device has too: who meets on it would meet there.
class Rail {
  public:
    // What a sensor that comes up takes of it. Waits until there is some, or the device is retired.
    class Place {
      public:
        // `rail` may be null: then there is nothing to wait for.
        Place(std::shared_ptr<Rail> rail, Device& device, int sensor, std::string const& supply);
        ~Place();
        Place(Place const&) = delete;
        Place& operator=(Place const&) = delete;

      private:
        std::shared_ptr<Rail> const mRail;
    };

    // Lets those who wait look at the settings again.
    void wake();

  private:
    void enter(Device const& device, std::string const& supply);
    void leave();

    std::mutex mLock;
    std::condition_variable_any mChanged;
    // Numbers in the order of the calls: whose turn it is, and the one that the next call gets.
    std::uint64_t mTurn ZEQCAM_GUARDED_BY(mLock) = 0;
    std::uint64_t mNext ZEQCAM_GUARDED_BY(mLock) = 0;
    int mComingUp ZEQCAM_GUARDED_BY(mLock) = 0;
};

}  // namespace zeqcam::board
