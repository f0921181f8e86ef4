#pragma once

#include "evidence/ProcessRecords.h"

#include <optional>
#include <string>
#include <vector>

namespace zeqcam::tool {

// What files of a phone hold, with what each turned out to be.
struct Evidence {
    std::vector<ProcessRecords::File> files;
    std::vector<std::string> found;  // in place of what can be read, or of the library
};

// Reads them, of any format, into `records`; "-" is the standard input. Tells on a terminal how far it is.
// `isFollowed`: it tells nothing of that, and goes on until Ctrl-C or the file's end. Throws CannotOpen.
Evidence readFiles(std::vector<std::string> const& paths, ProcessRecords& records, bool isFollowed);

// Why there is no record to be had: lines to complain with.
std::vector<std::string> nothingIn(Evidence const& evidence, std::vector<std::string> const& paths,
                                   std::optional<int> process);

}  // namespace zeqcam::tool
