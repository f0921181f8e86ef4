#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>

namespace zeqcam::tool {

// JSON as text, whatever bytes its strings hold: what is no UTF-8 becomes the replacement character. With an
// indent, over several lines.
std::string jsonText(nlohmann::ordered_json const& value, int indent = -1);
std::string jsonText(nlohmann::json const& value, int indent = -1);
// Of a string, with its quotes.
std::string jsonText(std::string const& text);

}  // namespace zeqcam::tool
