#include "model/SideBySide.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <iostream>
#include <random>
#include <string>

namespace zeqcam::tests {
namespace {

// ZEQCAM_MODEL_SEED and ZEQCAM_MODEL_STEPS replay a run, or run longer.
unsigned long fromEnvironment(char const* name, unsigned long otherwise) {
    char const* const value = std::getenv(name);
    return value != nullptr ? std::strtoul(value, nullptr, 10) : otherwise;
}

void showProgress(unsigned long percent) {
    std::cerr << "\r[" << std::string(percent / 2, '#') << std::string(50 - percent / 2, ' ') << "] "
              << percent << " %" << std::flush;
}

TEST(ModelTest, AgreesWithTheLibraryAfterEveryStep) {
    unsigned long const seed = fromEnvironment("ZEQCAM_MODEL_SEED", std::random_device{}());
    unsigned long const steps = fromEnvironment("ZEQCAM_MODEL_STEPS", 50000);
    std::cout << "ZEQCAM_MODEL_SEED=" << seed << " ZEQCAM_MODEL_STEPS=" << steps << '\n';
    std::mt19937 random(static_cast<std::mt19937::result_type>(seed));
    SideBySide run([&random](unsigned int most) { return static_cast<unsigned int>(random() % (most + 1)); });
    bool const showsProgress = isatty(STDERR_FILENO) == 1 && steps > 100000;
    for (unsigned long step = 0; step < steps; ++step) {
        if (showsProgress && step % (steps / 100) == 0) showProgress(step / (steps / 100));
        std::string const wrong = run.step();
        ASSERT_EQ(wrong, "") << "at step " << step << " of seed " << seed;
    }
}

}  // namespace
}  // namespace zeqcam::tests
