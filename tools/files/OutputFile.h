#pragma once

#include "files/Descriptor.h"

#include <stdexcept>
#include <string>
#include <string_view>

namespace zeqcam::tool {

// A file that the command line asks for cannot be opened.
class CannotOpen : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// A file that is opened before the run and written after it: what cannot be written is known before anything
// runs, and the file keeps its content until then.
class OutputFile {
  public:
    // Throws CannotOpen.
    explicit OutputFile(std::string path);

    // Replaces what stands in the file. Throws std::runtime_error when not all of it can be written.
    void write(std::string_view text);

  private:
    std::string mPath;
    Descriptor mFile;
};

}  // namespace zeqcam::tool
