#include "commands/RunProgress.h"

#include <fmt/format.h>

namespace zeqcam::tool {

void RunProgress::show(std::size_t runs, std::size_t failed) {
    mLine.show([&] {
        return fmt::format("{} of {} runs, {} failed, {:.0f} s", fmt::group_digits(runs),
                           fmt::group_digits(mTimes), fmt::group_digits(failed), mLine.seconds());
    });
}

}  // namespace zeqcam::tool
