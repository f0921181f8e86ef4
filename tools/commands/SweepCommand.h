#pragma once

#include "commands/Command.h"

namespace zeqcam::tool {

std::function<int()> addSweep(CLI::App& app);

}  // namespace zeqcam::tool
