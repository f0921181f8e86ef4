#include "SideBySide.h"

namespace zeqcam::benchmarks {

Comparisons allComparisons() {
    Comparisons all;
    addInside(all);
    addStatus(all);
    addPower(all);
    return all;
}

}  // namespace zeqcam::benchmarks
