#pragma once

#include <zeqcam/platform/Visibility.h>

namespace NSCam::Utils::Ulx {

// Raises an exception report for a module.
ZEQCAM_PLATFORM_API void triggerUlxException(char const* module, char const* reserved, char const* message,
                                             ...);

}  // namespace NSCam::Utils::Ulx
