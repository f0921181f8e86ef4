#pragma once

#define ZEQCAM_BOARD_API [[gnu::visibility("default")]]
