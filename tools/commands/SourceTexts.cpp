#include "commands/SourceTexts.h"

#include <filesystem>
#include <fstream>
#include <sstream>
#include <system_error>

namespace zeqcam::tool {

std::vector<Source> sourceTexts(std::string const& file, std::vector<std::string> const& included) {
    std::vector<std::string> names{file};
    names.insert(names.end(), included.begin(), included.end());
    std::vector<Source> sources;
    for (std::string const& name : names) {
        std::error_code none;
        if (!std::filesystem::is_regular_file(name, none)) continue;
        std::ostringstream text;
        text << std::ifstream(name, std::ios::binary).rdbuf();
        sources.push_back({std::filesystem::path(name).filename().string(), text.str()});
    }
    return sources;
}

}  // namespace zeqcam::tool
