#pragma once

#include <zeqcam/ThreadSafety.h>

#include <condition_variable>
#include <map>
#include <mutex>
#include <string>

namespace zeqcam::tool {

// How often each signal of a run was given. Thread-safe.
class Signals {
  public:
    void give(std::string const& name);
    // Waits until it was given that often.
    void await(std::string const& name, int times);

  private:
    std::mutex mLock;
    std::condition_variable_any mGiven;
    std::map<std::string, int> mTimes ZEQCAM_GUARDED_BY(mLock);
};

}  // namespace zeqcam::tool
