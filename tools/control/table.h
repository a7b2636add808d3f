#pragma once

#include <string>
#include <vector>

namespace control {

/// A table with aligned columns; the last column begins at the left.
class TextTable {
public:
    using Row = std::vector<std::string>;

    explicit TextTable(Row headings) : rows{std::move(headings)} {}

    void Add(Row row) { rows.push_back(std::move(row)); }

    /// The headings and the first \p most rows, a line each; then the number of the others.
    std::string Text(std::size_t most) const;

private:
    std::vector<Row> rows;  ///< of the same length
};

}  // namespace control
