#include "Inside.h"

namespace zeqcam::benchmarks {

void addInside(Comparisons& all) {
    addLog(all);
    addTrace(all);
    addQosHint(all);
}

}  // namespace zeqcam::benchmarks
