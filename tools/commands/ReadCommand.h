#pragma once

#include "commands/Command.h"

namespace zeqcam::tool {

std::function<int()> addRead(CLI::App& app);

}  // namespace zeqcam::tool
