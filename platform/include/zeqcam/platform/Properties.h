#pragma once

#include <zeqcam/platform/Visibility.h>

#include <cstdint>

namespace NSCam::Utils::Properties {

// The integer value of a system property, or the default where it is not set.
ZEQCAM_PLATFORM_API std::int32_t property_get_int32(char const* name, std::int32_t defaultValue);

}  // namespace NSCam::Utils::Properties
