#include "views/TerminalLine.h"

#include "text/TextWidth.h"

#include <algorithm>

namespace zeqcam::tool::terminal {

void Line::put(int column, std::string_view text, std::string_view style) {
    for (Character const& character : charactersOf(text)) {
        if (column + character.columns > static_cast<int>(mCells.size())) return;
        if (character.columns == 0) continue;
        at(column) = {std::string(character.bytes), style};
        for (int i = 1; i < character.columns; ++i) at(column + i) = {"", style};
        column += character.columns;
    }
}

void Line::fill(int begin, int end, std::string_view glyph, std::string_view style) {
    for (int column = begin; column < end; ++column) put(column, glyph, style);
}

bool Line::isBlank(int begin, int end) const {
    return std::all_of(mCells.begin() + std::max(begin, 0),
                       mCells.begin() + std::min(end, static_cast<int>(mCells.size())),
                       [](Cell const& cell) { return cell.text == " "; });
}

std::string Line::text(bool colours) const {
    auto const end = std::find_if(mCells.rbegin(), mCells.rend(), [](Cell const& cell) {
                         return cell.text != " ";
                     }).base();
    std::string text;
    std::string_view style = kPlain;
    for (auto cell = mCells.begin(); cell != end; ++cell) {
        if (colours && cell->style != style) {
            if (style != kPlain) text += "\033[0m";
            text += style = cell->style;
        }
        text += cell->text;
    }
    if (style != kPlain) text += "\033[0m";
    return text + '\n';
}

}  // namespace zeqcam::tool::terminal
