#include "Seeds.h"

#include <zeqcam/simulation/Simulation.h>

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <random>
#include <sstream>
#include <string_view>
#include <system_error>

namespace zeqcam::tests {
namespace {

void writeAll(int descriptor, std::string_view text) {
    while (!text.empty()) {
        ssize_t const written = write(descriptor, text.data(), text.size());
        if (written <= 0) _exit(EXIT_FAILURE);
        text.remove_prefix(static_cast<std::size_t>(written));
    }
}

std::string readAll(int descriptor) {
    std::string text;
    std::array<char, 65536> part{};
    for (ssize_t got = 0; (got = read(descriptor, part.data(), part.size())) != 0;) {
        if (got > 0) text.append(part.data(), static_cast<std::size_t>(got));
        if (got < 0 && errno != EINTR) break;
    }
    return text;
}

}  // namespace

Played played(SeededBody const& body, std::uint64_t seed) {
    // Kept when threads are left: they stand in it for good.
    auto told = std::make_unique<std::ostringstream>();
    simulation::Result const result = simulation::run([&] { body(seed, *told); }, seed);
    Played played{.told = told->str(), .failure = {}};
    if (result.holds()) return played;
    played.failure = std::string(nameOf(result.ending)) + " by \"" + result.schedule + "\": " + result.report;
    static_cast<void>(told.release());
    return played;
}

Played playedApart(SeededBody const& body, std::uint64_t seed) {
    std::array<int, 2> ends{};
    if (pipe(ends.data()) != 0) throw std::system_error(errno, std::generic_category(), "pipe");
    std::cout.flush();
    pid_t const process = fork();
    if (process < 0) throw std::system_error(errno, std::generic_category(), "fork");
    if (process == 0) {
        close(ends[0]);
        Played const own = played(body, seed);
        writeAll(ends[1], std::to_string(own.told.size()) + ' ' + own.told + own.failure);
        _exit(EXIT_SUCCESS);
    }
    close(ends[1]);
    std::string const text = readAll(ends[0]);
    close(ends[0]);
    int status = 0;
    while (waitpid(process, &status, 0) < 0 && errno == EINTR) {
    }
    if (status != 0) {
        return {.told = {},
                .failure = "the process ended with status " + std::to_string(status) + " by \"seed " +
                           std::to_string(seed) + '"'};
    }
    std::size_t const begin = text.find(' ') + 1;
    std::size_t const length = std::stoul(text);
    return {.told = text.substr(begin, length), .failure = text.substr(begin + length)};
}

void expectOfSeeds(char const* variable, int count, SeededBody const& body) {
    if (char const* const asked = std::getenv(variable)) {
        EXPECT_EQ(played(body, std::strtoull(asked, nullptr, 10)).failure, "");
        return;
    }
    if (char const* const depth = std::getenv("ZEQCAM_SEEDS")) count = std::atoi(depth);
    std::uint64_t const first = std::random_device{}();
    std::cout << variable << " from " << first << ", " << count << " seeds\n";
    for (std::uint64_t seed = first; seed < first + static_cast<std::uint64_t>(count); ++seed) {
        ASSERT_EQ(playedApart(body, seed).failure, "") << variable << '=' << seed << " repeats it";
    }
}

}  // namespace zeqcam::tests
