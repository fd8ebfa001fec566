#pragma once
/// Tables of text.

#include <string>
#include <vector>

#include "output/output.h"

namespace cli {

struct Column {
    const char* title;
    enum class Align { left, right } align = Align::left;
    /// Short by nature, and never cut.
    bool isRigid = false;
};

struct Cell {
    std::string text;
    const char* style = "";
};

/// On a terminal: a title line and aligned columns, the widest cut to fit the terminal. Elsewhere:
/// one line a row as soon as it is added, separated by tabs, without titles. An empty cell shows as
/// "-".
class Table {
public:
    Table(Output& out, std::vector<Column> columns);

    void add(std::vector<Cell> row);
    /// Prints the rows that were kept to compute the widths.
    void finish();

private:
    /// Takes from the widest until all fit.
    void shrink(std::vector<int>& widths) const;
    void print(const std::vector<Cell>& row, const std::vector<int>& widths);

    Output& m_out;
    std::vector<Column> m_columns;
    std::vector<std::vector<Cell>> m_rows;
};

}  // namespace cli
