#pragma once

#include <zeqcam/platform/Visibility.h>

#include <cstddef>

namespace NSCam::Utils {

// Times the phases of one operation. `print` may be called from several threads at once.
class ZEQCAM_PLATFORM_API CamProfile {
  public:
    CamProfile(char const* function, char const* tag);
    ~CamProfile();
    CamProfile(CamProfile const&) = delete;
    CamProfile& operator=(CamProfile const&) = delete;

    // Not checked as a format: a listener's name is printed as one (see IPowerOnOffListener::getName).
    void print(char const* format, ...) const;

  private:
    alignas(8) std::byte mOpaque[64];
};

static_assert(sizeof(CamProfile) == 64 && alignof(CamProfile) == 8);

}  // namespace NSCam::Utils
