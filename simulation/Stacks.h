#pragma once

#include "Thread.h"

#include <string>

namespace zeqcam::simulation {

// Loads what taking a stack needs: taking the first one is no time for it.
void prepareStacks();
// On the thread itself, or in a signal that it has caught.
void takeStack(Thread& thread);

// In words, for a report. A stack has been taken.
std::string nameOf(Thread const& thread);
std::string describe(Step const& step);
std::string sectionsOf(Thread const& thread);
std::string stackOf(Thread const& thread);

}  // namespace zeqcam::simulation
