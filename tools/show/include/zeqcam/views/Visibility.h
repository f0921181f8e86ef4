#pragma once

#define ZEQCAM_VIEWS_API [[gnu::visibility("default")]]
