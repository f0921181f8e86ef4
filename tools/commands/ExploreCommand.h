#pragma once

#include "commands/Command.h"

namespace zeqcam::tool {

std::function<int()> addExplore(CLI::App& app);

}  // namespace zeqcam::tool
