#include "rules/Verdict.h"

#include <algorithm>

namespace zeqcam::tool {

bool allHeld(Record const& record) {
    return std::all_of(record.expectations.begin(), record.expectations.end(),
                        [](Expectation const& each) { return each.state == Expectation::State::Held; });
}

}  // namespace zeqcam::tool
