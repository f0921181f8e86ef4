#pragma once

#include "commands/Command.h"

namespace zeqcam::tool {

std::function<int()> addBlame(CLI::App& app);

}  // namespace zeqcam::tool
