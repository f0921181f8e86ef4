#include "text/ShellText.h"

#include <algorithm>
#include <string_view>

namespace zeqcam::tool {
namespace {

bool isPlain(char c) {
    constexpr std::string_view kSigns = "%+,-./:=@_";
    bool const isLetter = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
    return isLetter || kSigns.find(c) != std::string_view::npos;
}

}  // namespace

std::string shellWord(std::string const& word) {
    if (!word.empty() && std::all_of(word.begin(), word.end(), isPlain)) return word;
    std::string quoted = "'";
    for (char const c : word) quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return quoted + '\'';
}

}  // namespace zeqcam::tool
