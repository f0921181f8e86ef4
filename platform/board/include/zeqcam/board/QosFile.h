#pragma once

#include <zeqcam/board/Visibility.h>

#include <string>
#include <vector>

namespace zeqcam::board {

// The kernel's task QoS file. A workstation's kernel has none, so the process gets one of its own, at the
// real path, in a private mount namespace: nothing outside the process sees it.
class ZEQCAM_BOARD_API QosFile {
  public:
    // To be called before the process starts a thread; once. Returns an empty text when the file now stands,
    // or else the reason why this process may not have one.
    static std::string provide();
    // Whether `provide` has succeeded.
    [[nodiscard]] static bool provided();

    // What the file can be. Set while nothing is being written to it; it is empty afterwards. A descriptor
    // that is open already goes on with the same file: it can write while the file is missing or read-only,
    // as on a device, and fails like every other where it is full. Does nothing when not provided.
    enum class Is {
        Writable,
        Missing,   // cannot be opened
        ReadOnly,  // cannot be opened for writing
        Full,      // every write fails, for want of space
    };
    static void set(Is is);

    // The lines written since the last call, without the zero bytes that end them. Empty when not provided.
    // May be called while others write; a line not yet ended is left for the next call.
    static std::vector<std::string> takeLines();
    // All bytes written since the file was last set, unread ones included.
    [[nodiscard]] static std::string bytes();
};

}  // namespace zeqcam::board
