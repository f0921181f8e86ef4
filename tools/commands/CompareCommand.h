#pragma once

#include "commands/Command.h"

namespace zeqcam::tool {

std::function<int()> addCompare(CLI::App& app);

}  // namespace zeqcam::tool
