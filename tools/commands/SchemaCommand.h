#pragma once

#include "commands/Command.h"

namespace zeqcam::tool {

std::function<int()> addSchema(CLI::App& app);

}  // namespace zeqcam::tool
