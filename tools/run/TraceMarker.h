#pragma once

#include "files/Descriptor.h"

namespace zeqcam::tool {

// Opens the trace_marker of the kernel's tracer, wherever it is mounted. Throws CannotOpen where there is
// none, where this process may not write to it, or where the tracer is off and would take nothing.
Descriptor openTraceMarker();

}  // namespace zeqcam::tool
