#include "control/table.h"

#include <algorithm>

namespace control {

namespace {

/// "-" is a number that is not known.
bool IsNumber(const std::string& cell)
{
    return cell == "-" || cell.find_first_not_of("0123456789") == std::string::npos;
}

/// Numbers stand at the right of their column, and so do headings of numbers.
void AppendCell(std::string& line, const std::string& cell, std::size_t width, bool isRight)
{
    const std::string blanks(width - cell.size(), ' ');
    line += (line.empty() ? "" : "  ") + (isRight ? blanks + cell : cell + blanks);
}

}  // namespace

std::string TextTable::Text(std::size_t most) const
{
    const std::size_t columns = rows[0].size();
    std::vector<std::size_t> widths(columns);
    std::vector<bool> isRight(columns, true);
    for (std::size_t row = 0; row < rows.size(); ++row) {
        for (std::size_t column = 0; column < columns; ++column) {
            widths[column] = std::max(widths[column], rows[row][column].size());
            isRight[column] = isRight[column] && (row == 0 || IsNumber(rows[row][column]));
        }
    }
    std::string text;
    const std::size_t shown = std::min(most, rows.size() - 1);
    for (std::size_t row = 0; row <= shown; ++row) {
        std::string line;
        for (std::size_t column = 0; column < columns; ++column) {
            AppendCell(line, rows[row][column], widths[column],
                       isRight[column] && column + 1 < columns);
        }
        line.erase(line.find_last_not_of(' ') + 1);
        text += line + "\n";
    }
    const std::size_t others = rows.size() - 1 - shown;
    return others == 0 ? text : text + "and " + std::to_string(others) + " more\n";
}

}  // namespace control
