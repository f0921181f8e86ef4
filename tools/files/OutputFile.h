#pragma once

#include "files/Descriptor.h"

#include <sys/types.h>

#include <functional>
#include <optional>
#include <ostream>
#include <stdexcept>
#include <string>

namespace zeqcam::tool {

// A file that the command line asks for cannot be opened.
class CannotOpen : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// A file that is asked for before the run and written after it: what cannot be written is known before
// anything runs. It is written beside its place and takes that as a whole or not at all; until then what
// stood there stays. A pipe or a device is written to as it is.
class OutputFile {
  public:
    // Throws CannotOpen.
    explicit OutputFile(std::string path);

    // Replaces what stands in the file by what `fill` writes. Signals that end the process wait meanwhile.
    // Throws std::runtime_error when not all of it can be written, and what `fill` throws.
    void write(std::function<void(std::ostream&)> const& fill);

  private:
    std::string mGiven;                 // as messages name it
    std::string mPath;                  // behind symbolic links
    std::optional<mode_t> mMode;        // of the file that is replaced
    std::optional<Descriptor> mDevice;  // or a pipe
};

// Whether writing to the file would write into what is open as `descriptor`. Devices that are no terminals
// swallow what they get: nothing is lost by both.
bool isOpenAs(std::string const& path, int descriptor);

}  // namespace zeqcam::tool
