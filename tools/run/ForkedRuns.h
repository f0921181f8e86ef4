#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

namespace zeqcam::tool {

// Plays of something, each in a process of its own: what one changes or leaves behind, a crash too, is
// nothing to the others.
struct ForkedRuns {
    std::size_t count = 0;
    std::size_t jobs = 1;           // at the same time
    bool bindsToProcessor = false;  // each of them: for what runs one thread at a time
    // What the process with this index, from 0, comes to. What it throws, it comes to nothing by.
    std::function<std::string(std::size_t index)> play;
    // Told on the calling thread, in the order of the indices: what a process came to, or else how it ended.
    std::function<void(std::size_t index, std::string const& came)> take;
    std::function<void(std::size_t index, std::string const& how)> lost;
    // Asked on the calling thread ten times a second or more: true ends it, with the processes.
    std::function<bool()> isCancelled;
};

// How many were told of: all, unless it was cancelled. To be called where no other thread lives. Throws
// std::system_error when there is no process.
std::size_t playForked(ForkedRuns const& runs);

// As many as this process may use processors.
std::size_t processorsAllowed();

}  // namespace zeqcam::tool
