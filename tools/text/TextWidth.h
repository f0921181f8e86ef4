#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace zeqcam::tool {

struct Character {
    char32_t code;
    std::string_view bytes;  // of the text, which is longer-lived; those of U+FFFD where it is not UTF-8
    int columns;             // that it takes on a terminal
};

// The characters of a text in UTF-8.
std::vector<Character> charactersOf(std::string_view text);

// The columns that a text takes on a terminal, its control characters apart.
int columnsOf(std::string_view text);

// The text if it takes no more than `columns`, or else as much of its begin as fits with the sign at its end.
std::string shortened(std::string_view text, int columns, std::string_view sign);

}  // namespace zeqcam::tool
