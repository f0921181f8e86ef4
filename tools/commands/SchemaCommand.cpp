#include "commands/SchemaCommand.h"

#include "scenario/ScenarioSchema.h"

#include <CLI/CLI.hpp>
#include <iostream>
#include <string>

namespace zeqcam::tool {

std::function<int()> addSchema(CLI::App& app) {
    app.footer(std::string(kExitCodes));
    return [] {
        writeScenarioSchema(std::cout);
        std::cout.flush();
        if (!std::cout) complain("the output cannot be written");
        return std::cout ? kAllHeld : kFailed;
    };
}

}  // namespace zeqcam::tool
