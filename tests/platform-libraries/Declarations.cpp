// The platform declares these itself: a name of C stands for one function, so that where ours differ from
// theirs, this does not compile.

#include <zeqcam/platform/AndroidLog.h>
#include <zeqcam/platform/Atrace.h>

#include <android/log.h>
#include <cutils/trace.h>

#include "diagnostics/Trace.h"

static_assert(NSCam::diagnostics::kCameraTraceTag == ATRACE_TAG_CAMERA);
static_assert(ANDROID_LOG_DEBUG == 3, "the priority of the library's lines");
