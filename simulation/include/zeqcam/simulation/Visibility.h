#pragma once

#define ZEQCAM_SIMULATION_API [[gnu::visibility("default")]]
