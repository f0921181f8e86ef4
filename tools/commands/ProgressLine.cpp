#include "commands/ProgressLine.h"

#include "text/Printable.h"

#include <unistd.h>

#include <iostream>
#include <utility>

namespace zeqcam::tool {
namespace {

constexpr std::chrono::milliseconds kBetweenLines{150};
constexpr auto kEmptyLine = "\r\033[K";

}  // namespace

ProgressLine::ProgressLine() : mIsOnTerminal(isatty(STDERR_FILENO) == 1), mNext(mBegan + kBetweenLines) {}

ProgressLine::~ProgressLine() {
    clear();
}

void ProgressLine::clear() {
    if (std::exchange(mIsShown, false)) std::cerr << kEmptyLine << std::flush;
}

void ProgressLine::show(std::function<std::string()> const& text) {
    auto const now = Clock::now();
    if (!mIsOnTerminal || now < mNext) return;
    mNext = now + kBetweenLines;
    mIsShown = true;
    std::cerr << kEmptyLine + printable(text()) << std::flush;
}

double ProgressLine::seconds() const {
    return std::chrono::duration<double>(Clock::now() - mBegan).count();
}

}  // namespace zeqcam::tool
