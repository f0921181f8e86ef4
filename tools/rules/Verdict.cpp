#include "rules/Verdict.h"

#include <algorithm>

namespace zeqcam::tool {

bool allHeld(Record const& record) {
    return std::none_of(record.expectations.begin(), record.expectations.end(),
                        [](Expectation const& each) { return each.state == Expectation::State::Unmet; });
}

}  // namespace zeqcam::tool
