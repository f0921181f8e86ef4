#include "commands/CommonOptions.h"

#include "scenario/ScenarioKeys.h"

#include <CLI/CLI.hpp>

namespace zeqcam::tool {

void addSettings(CLI::App& app, std::vector<std::string>& settings) {
    app.add_option("--set", settings,
                   "Put another value into the scenario, such as sensor.tele.power_on_ms=60 or "
                   "client.app.steps.3.sleep_ms=5; may be repeated.")
        ->type_name("PATH=VALUE")
        ->allow_extra_args(false);
}

void addSeed(CLI::App& app, std::optional<std::uint64_t>& seed, char const* help) {
    app.add_option("--seed", seed, help)
        ->type_name("N")
        ->check(CLI::Range(std::uint64_t{0}, std::uint64_t{kMostSeed}).description(""));
}

void addWidth(CLI::App& app, std::optional<int>& width) {
    constexpr int kMostColumns = 10'000;
    app.add_option("--width", width, "The columns of the output, instead of the terminal's.")
        ->check(CLI::Range(0, kMostColumns).description(""));
}

}  // namespace zeqcam::tool
