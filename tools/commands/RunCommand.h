#pragma once

#include "commands/Command.h"

namespace zeqcam::tool {

std::function<int()> addRun(CLI::App& app);

}  // namespace zeqcam::tool
