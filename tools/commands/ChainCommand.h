#pragma once

#include "commands/Command.h"

namespace zeqcam::tool {

std::function<int()> addChain(CLI::App& app);

}  // namespace zeqcam::tool
