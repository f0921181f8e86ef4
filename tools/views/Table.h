#pragma once

#include "text/TextWidth.h"

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace zeqcam::tool {

// Makes text stand out where there are colours.
struct Ink {
    bool colours = false;

    [[nodiscard]] std::string bold(std::string const& text) const { return with("\033[1m", text); }
    [[nodiscard]] std::string red(std::string const& text) const { return with("\033[31m", text); }

  private:
    [[nodiscard]] std::string with(char const* code, std::string const& text) const {
        return colours ? code + text + "\033[0m" : text;
    }
};

enum class Align : std::uint8_t { Left, Right };

// Rows of cells under headings, each column as wide as its widest cell. Cells are fit to be printed.
class Table {
  public:
    struct Column {
        std::string heading;
        Align align = Align::Left;
        int width = columnsOf(heading);
    };

    explicit Table(std::vector<Column> columns) : mColumns(std::move(columns)) {}

    // A marked row stands out.
    void add(std::vector<std::string> cells, bool marked = false);

    // Its columns stand closer where that keeps each row in one line of `columns`; else a row takes as many
    // lines as they ask for, those after its first further in.
    [[nodiscard]] std::string text(Ink ink, int columns) const;

  private:
    struct Row {
        std::vector<std::string> cells;
        bool marked;
    };

    // Of a row in one line.
    [[nodiscard]] int widthWith(int between) const;
    // `between`: the blanks from one column to the next.
    [[nodiscard]] std::vector<std::string> linesOf(std::vector<std::string> const& cells, char mark,
                                                   int columns, int between) const;

    std::vector<Column> mColumns;
    std::vector<Row> mRows;
};

}  // namespace zeqcam::tool
