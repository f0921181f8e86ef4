#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace zeqcam::tool::terminal {

// Codes before text that stands out, where there are colours. Plain: none.
constexpr std::string_view kPlain = "";

// One line, a cell for each column.
class Line {
  public:
    explicit Line(int columns) : mCells(static_cast<std::size_t>(columns)) {}

    // What is beyond the line's end is lost. The style outlives the line.
    void put(int column, std::string_view text, std::string_view style);
    void fill(int begin, int end, std::string_view glyph, std::string_view style);

    [[nodiscard]] bool isBlank(int begin, int end) const;

    // With its end, without the blanks before that.
    [[nodiscard]] std::string text(bool colours) const;

  private:
    struct Cell {
        std::string text = " ";
        std::string_view style = kPlain;
    };

    Cell& at(int column) { return mCells[static_cast<std::size_t>(column)]; }

    std::vector<Cell> mCells;
};

}  // namespace zeqcam::tool::terminal
