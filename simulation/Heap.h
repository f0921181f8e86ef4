#pragma once

namespace zeqcam::simulation {

// From now on what simulated threads free is not used again: an address means the same object throughout a
// run, and two threads meet at none that only looks the same.
void keepMemory();

}  // namespace zeqcam::simulation
