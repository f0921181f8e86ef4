#include "commands/CheckCommand.h"

#include "scenario/NeverEnds.h"
#include "scenario/ScenarioReader.h"

#include <CLI/CLI.hpp>
#include <memory>
#include <string>

namespace zeqcam::tool {
namespace {

int check(std::string const& file) {
    auto [scenario, faults, included] = readScenarioFile(file);
    if (faults.empty()) faults = neverEnding(scenario);
    for (Fault const& fault : faults) complain(faultText(fault, file));
    return faults.empty() ? kAllHeld : kWrongInput;
}

}  // namespace

std::function<int()> addCheck(CLI::App& app) {
    auto const file = std::make_shared<std::string>();
    app.add_option("FILE", *file, "The scenario, in TOML.")->required();
    app.footer(std::string(kExitCodes));
    return [file] { return check(*file); };
}

}  // namespace zeqcam::tool
