#pragma once

// Every symbol of the platform lives in another shared library, whatever the visibility of the code that
// includes these headers.
#define ZEQCAM_PLATFORM_API [[gnu::visibility("default")]]
