#pragma once

#include <zeqcam/platform/Visibility.h>

// Puts the calling thread on the processors that the platform keeps for power-on.
extern "C" ZEQCAM_PLATFORM_API int zeqcam_perfctrl_set_affinity();

class ZEQCAM_PLATFORM_API C2PSMachine {
  public:
    // Marks the calling thread as critical to the scheduler.
    static int markCriticalTask();
};

namespace NSCam {

class ZEQCAM_PLATFORM_API IPowerBudgetHelper {
  public:
    // Null when the platform has none.
    static IPowerBudgetHelper* getInstance();

    virtual void reserved0() {}
    virtual void reserved1() {}
    virtual void reserved2() {}
    virtual void reserved3() {}
    // Called once per power-on, before the first sensor draws current.
    virtual void requestBudget() = 0;

  protected:
    ~IPowerBudgetHelper() = default;
};

}  // namespace NSCam
