#pragma once

#include <zeqcam/IPowerOnOffController.h>

#include <memory>
#include <vector>

namespace camera {

// The sensors of a photo session: a main camera and a wide one. Without the wide one there is no wide zoom,
// but there are photos. One thread uses it.
class PhotoSession {
  public:
    enum class State { Closed, MainOnly, Full };

    PhotoSession(int mainSensor, int wideSensor);
    ~PhotoSession();
    PhotoSession(PhotoSession const&) = delete;
    PhotoSession& operator=(PhotoSession const&) = delete;

    // Powers both cameras, or else the main one alone. Closed when that cannot be had either.
    State open();
    void close();

  private:
    bool powerOn(std::vector<int> const& sensors);

    int const mMainSensor;
    int const mWideSensor;
    std::shared_ptr<NSCam::IPowerOnOffController> const mController;
    std::vector<int> mPowered;
};

}  // namespace camera
