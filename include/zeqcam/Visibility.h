#pragma once

// Marks a class that the library exports; everything else in it is hidden.
#define ZEQCAM_API [[gnu::visibility("default")]]
