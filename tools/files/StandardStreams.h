#pragma once

namespace zeqcam::tool {

// Sees that no file that is opened later takes the place of a standard stream that is closed, and that a
// reader who goes away fails a write instead of ending the process. Before any file is opened and any thread
// is started. What is written to an output that was closed fails.
void secureStandardStreams();

}  // namespace zeqcam::tool
