#include "text/JsonText.h"

#include <nlohmann/json.hpp>

namespace zeqcam::tool {

std::string jsonText(nlohmann::ordered_json const& value, int indent) {
    return value.dump(indent, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
}

std::string jsonText(nlohmann::json const& value, int indent) {
    return value.dump(indent, ' ', false, nlohmann::json::error_handler_t::replace);
}

std::string jsonText(std::string const& text) {
    return jsonText(nlohmann::json(text));
}

}  // namespace zeqcam::tool
