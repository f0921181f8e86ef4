#include "views/Table.h"

#include <algorithm>
#include <cstddef>

namespace zeqcam::tool {

void Table::add(std::vector<std::string> cells, bool marked) {
    for (std::size_t i = 0; i < cells.size(); ++i) {
        mColumns[i].width = std::max(mColumns[i].width, columnsOf(cells[i]));
    }
    mRows.push_back({std::move(cells), marked});
}

std::string Table::text(Ink ink, int columns) const {
    constexpr int kWide = 2;
    int const gap = widthWith(kWide) > columns && widthWith(1) <= columns ? 1 : kWide;
    std::vector<std::string> headings;
    for (Column const& column : mColumns) headings.push_back(column.heading);
    std::string text;
    for (std::string const& line : linesOf(headings, ' ', columns, gap)) text += ink.bold(line) + '\n';
    for (Row const& row : mRows) {
        for (std::string const& line : linesOf(row.cells, row.marked ? '!' : ' ', columns, gap))
            text += (row.marked ? ink.red(line) : line) + '\n';
    }
    return text;
}

int Table::widthWith(int between) const {
    int width = 1;  // of the mark
    for (Column const& column : mColumns) width += (&column == mColumns.data() ? 1 : between) + column.width;
    return width;
}

std::vector<std::string> Table::linesOf(std::vector<std::string> const& cells, char mark, int columns,
                                        int between) const {
    constexpr int kFurtherIn = 5;
    std::vector<std::string> lines{std::string(1, mark)};
    int used = 1;
    for (std::size_t i = 0; i < cells.size(); ++i) {
        int const gap = i == 0 ? 1 : between;
        if (used > kFurtherIn && used + gap + mColumns[i].width > columns) {
            lines.emplace_back(kFurtherIn - gap, ' ');
            used = kFurtherIn - gap;
        }
        // All rows of a column are cut at one width, so that those beside it stay in line.
        int const width = std::clamp(columns - used - gap, 1, mColumns[i].width);
        std::string const cell = shortened(cells[i], width, "~");
        std::string const padding(static_cast<std::size_t>(width - columnsOf(cell)), ' ');
        lines.back() += std::string(static_cast<std::size_t>(gap), ' ') +
                        (mColumns[i].align == Align::Left ? cell + padding : padding + cell);
        used += gap + width;
    }
    for (std::string& line : lines) line.erase(line.find_last_not_of(' ') + 1);
    return lines;
}

}  // namespace zeqcam::tool
