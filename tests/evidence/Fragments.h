#pragma once

#include "evidence/ProcessRecords.h"

#include <string>
#include <vector>

// Fragments of a phone's logs and traces, of process 800, and the records that come of them.
namespace zeqcam::tests {

// Of files that hold these.
std::vector<tool::ReadProcess> read(std::vector<std::string> const& texts);

// "812 power on 0 2: true" and, where it is unknown, "812 power off ?, end unknown".
std::vector<std::string> requestsOf(tool::Record const& record);

// A line of the library at a second's milliseconds, with its text as the library writes it.
std::string line(int ms, int thread, std::string const& text, int process = 800);

// An event of the kernel's trace.
std::string event(int ms, int thread, std::string const& text);
std::string begin(int ms, int thread, std::string const& label);
std::string end(int ms, int thread);
std::string starts(int ms, int thread, int started);
// The worker comes up, or fails where `up` is false.
std::string worker(int ms, int thread, int sensor, bool up = true);

}  // namespace zeqcam::tests
