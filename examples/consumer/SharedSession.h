#pragma once

#include "PhotoSession.h"

#include <mutex>

namespace camera {

// A photo session that several users share: open as long as there is one. Any thread may use it.
class SharedSession {
  public:
    SharedSession(int mainSensor, int wideSensor) : mSession(mainSensor, wideSensor) {}

    // The sensors are powered from the return of `enter` to the call of `leave`.
    void enter();
    void leave();

  private:
    std::mutex mLock;  // held while the session opens and closes: who comes then waits
    int mUsers = 0;
    PhotoSession mSession;
};

}  // namespace camera
