#pragma once

#include "SideBySide.h"

// What is compiled and linked like the library itself, to reach what the library does not export.
namespace zeqcam::benchmarks {

void addLog(Comparisons& all);
void addTrace(Comparisons& all);
void addQosHint(Comparisons& all);

}  // namespace zeqcam::benchmarks
