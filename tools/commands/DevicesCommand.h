#pragma once

#include "commands/Command.h"

namespace zeqcam::tool {

std::function<int()> addDevices(CLI::App& app);

}  // namespace zeqcam::tool
