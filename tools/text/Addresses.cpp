#include "text/Addresses.h"

#include <algorithm>
#include <cctype>

namespace zeqcam::tool {

std::string withoutAddresses(std::string_view text) {
    constexpr std::string_view kPrefix = "0x";
    constexpr std::ptrdiff_t kLeastDigits = 6;  // what is shorter is a number
    std::string without;
    for (std::size_t at = 0; at < text.size();) {
        std::size_t const prefix = std::min(text.find(kPrefix, at), text.size());
        without += text.substr(at, prefix - at);
        std::string_view const rest = text.substr(std::min(prefix + kPrefix.size(), text.size()));
        auto const digits = std::find_if_not(rest.begin(), rest.end(),
                                             [](unsigned char c) { return std::isxdigit(c) != 0; }) -
                            rest.begin();
        at = std::min(prefix + kPrefix.size() + static_cast<std::size_t>(digits), text.size());
        without += digits >= kLeastDigits ? "(address)" : std::string(text.substr(prefix, at - prefix));
    }
    return without;
}

}  // namespace zeqcam::tool
