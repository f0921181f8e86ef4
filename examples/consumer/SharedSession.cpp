#include "SharedSession.h"

namespace camera {

void SharedSession::enter() {
    std::lock_guard const hold(mLock);
    if (mUsers++ == 0) mSession.open();
}

void SharedSession::leave() {
    std::lock_guard const hold(mLock);
    if (--mUsers == 0) mSession.close();
}

}  // namespace camera
