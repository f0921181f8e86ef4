// Does not compile: a test says so.
#include "diagnostics/Log.h"

#define ZEQCAM_LOG_TAG "misfit"
#define ZEQCAM_LOG_PREFIX "[%s] "
#define ZEQCAM_LOG_PREFIX_VALUES __FUNCTION__

void misfit();
void misfit() {
    logInfo("a number: %d", "a text");
}
