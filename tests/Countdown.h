#pragma once

#include <atomic>

namespace zeqcam::tests {

// Strikes once, at the n-th call; not at all when it stands at 0.
inline bool strikes(std::atomic<int>& countdown) {
    int left = countdown.load();
    while (left > 0 && !countdown.compare_exchange_weak(left, left - 1)) {
    }
    return left == 1;
}

}  // namespace zeqcam::tests
