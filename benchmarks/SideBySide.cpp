#include "SideBySide.h"

namespace zeqcam::benchmarks {

Comparisons allComparisons() {
    Comparisons all;
    addInside(all);
    addStatus(all);
    addPower(all);
    addLoad(all);
    addKernel(all);
    addJournal(all);
    return all;
}

}  // namespace zeqcam::benchmarks
