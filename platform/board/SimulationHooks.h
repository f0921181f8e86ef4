#pragma once

// Where a simulation of the process listens: declared weak, so that there need be none. A simulation lets one
// thread go at a time, and learns here what threads share without a lock.
extern "C" {
[[gnu::weak]] void zeqcam_simulation_touch(void const* object);
[[gnu::weak]] void zeqcam_simulation_begin(char const* label);
[[gnu::weak]] void zeqcam_simulation_end();
}

namespace zeqcam::board {

// The calling thread is about to use what other threads can tell the order of.
inline void meetsOthersAt(void const* object) {
    if (zeqcam_simulation_touch != nullptr) zeqcam_simulation_touch(object);
}
inline void opensSection(char const* label) {
    if (zeqcam_simulation_begin != nullptr) zeqcam_simulation_begin(label);
}
inline void closesSection() {
    if (zeqcam_simulation_end != nullptr) zeqcam_simulation_end();
}

}  // namespace zeqcam::board
