#pragma once

#include <zeqcam/board/Visibility.h>

#include <string>
#include <vector>

namespace zeqcam::board {

/// The kernel's task QoS file, `/sys/rsc/qos/set_task_qos`. A workstation's kernel has none, so the process
/// gets one of its own, at the real path, in a private mount namespace: nothing outside the process sees it.
///
/// There is one for the process, whichever board stands. Each line is one hint, `TID SCENARIO SET 0`, ended
/// by a zero byte. All members may be called from any thread, `provide` excepted, and throw std::system_error
/// when the kernel refuses what it granted before.
class ZEQCAM_BOARD_API QosFile {
  public:
    /// To be called before the process starts a thread; a later call does nothing once the file stands.
    /// Returns an empty text when it does, or else the reason why this process may not have one: the process
    /// is then as it was. Root needs no more; others need user namespaces, and may not raise a priority from
    /// then on.
    static std::string provide();
    /// Whether `provide` has succeeded.
    [[nodiscard]] static bool provided();

    /// What the file can be.
    enum class Is {
        Writable,  ///< as `provide` leaves it
        Missing,   ///< cannot be opened
        ReadOnly,  ///< cannot be opened for writing
        Full,      ///< every write fails, for want of space
    };
    /// Empties the file and makes it what it is to be; lines taken out of it stay for takeLines(). The caller
    /// guarantees that nothing is being written to it. A descriptor that is open already goes on with the
    /// same file: it can write while the file is missing or read-only, as on a device, and fails like every
    /// other where it is full. Does nothing when not provided.
    static void set(Is is);

    /// The lines written since the last call, in the order of the writes, without the zero bytes that end
    /// them. Empty when not provided. May be called while others write; a line not yet ended is left for the
    /// next call.
    static std::vector<std::string> takeLines();
    /// All bytes written since the file was last set, unread ones included.
    [[nodiscard]] static std::string bytes();
};

}  // namespace zeqcam::board
