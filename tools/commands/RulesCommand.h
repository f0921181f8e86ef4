#pragma once

#include "commands/Command.h"

namespace zeqcam::tool {

std::function<int()> addRules(CLI::App& app);

}  // namespace zeqcam::tool
