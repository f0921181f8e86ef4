#pragma once

#include "evidence/Reading.h"

#include <string>
#include <string_view>
#include <vector>

// What is read of bytes, as lines that one can compare.
namespace zeqcam::tests {

struct Told {
    tool::ReadResult result;
    // "12 wall 1972-11-23 05:16:48.315 1234/5678 D zeqcam-PowerOnOffController: + powerOn": place, clock,
    // time, process ("-" where unknown) and thread, and what.
    std::vector<std::string> items;
};

// Reads them all at once, and again in blocks of 1, 7 and 4096 bytes, which must tell the same; large ones in
// large blocks only.
Told told(std::string_view bytes);

}  // namespace zeqcam::tests
