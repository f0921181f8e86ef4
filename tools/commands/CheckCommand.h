#pragma once

#include "commands/Command.h"

namespace zeqcam::tool {

std::function<int()> addCheck(CLI::App& app);

}  // namespace zeqcam::tool
