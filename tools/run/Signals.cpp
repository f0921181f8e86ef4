#include "run/Signals.h"

namespace zeqcam::tool {

void Signals::give(std::string const& name) {
    std::lock_guard const hold(mLock);
    ++mTimes[name];
    mGiven.notify_all();
}

void Signals::await(std::string const& name, int times) {
    std::lock_guard const hold(mLock);
    while (mTimes[name] < times) mGiven.wait(mLock);
}

}  // namespace zeqcam::tool
