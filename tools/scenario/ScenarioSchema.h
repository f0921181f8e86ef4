#pragma once

#include <iosfwd>

namespace zeqcam::tool {

// Writes the JSON Schema of scenario files, by which an editor completes and checks them: what the table of
// keys says, and nothing else. What one part of a file says of another only the reader knows.
void writeScenarioSchema(std::ostream& out);

}  // namespace zeqcam::tool
