#pragma once
/// Tables of text.

#include <string>
#include <string_view>
#include <vector>

#include "output/output.h"

namespace cli {

struct Column {
    std::string title;
    enum class Align { left, right } align = Align::left;
    /// What may be cut to fit a terminal. A name is cut last, and in its middle.
    enum class Cut { end, name, never } cut = Cut::end;
    /// Columns with a number may be left out to fit a terminal, the greatest first.
    int leftOutAs = 0;
    /// For people, and where rows differ in it.
    bool isOnlyForDifferences = false;
    /// What programs read as the title, when not the same.
    std::string key{};
};

struct Cell {
    std::string text;
    const char* style = "";
};

/// How a table is written. `automatic` is for people on a terminal, and elsewhere one line a row,
/// separated by tabs, without titles. `tsv` and `csv` begin with the titles.
enum class Format { automatic, people, tsv, csv };

/// Raises no error for an unknown name: `formatNames` are those that there are.
Format formatOf(std::string_view name);

/// Rows of cells. For people: a title line and aligned columns, cut to fit the terminal; the widths
/// are those of the first rows, which are kept until then. Else each row is written as soon as it
/// is added. An empty cell shows as "-", but in CSV.
class Table {
public:
    Table(Output& out, std::vector<Column> columns, Format format = Format::automatic);

    [[nodiscard]] bool isForPeople() const { return m_isForPeople; }
    void add(std::vector<Cell> row);
    /// Prints the rows that are still kept.
    void finish();

private:
    using Row = std::vector<Cell>;

    void printKept();
    void leaveOutColumns();
    void shrink();
    /// Takes from the widest of those columns until all fit or are as narrow as they may be.
    void shrinkThose(Column::Cut cut, int narrowest);
    [[nodiscard]] int totalWidth() const;
    void print(const Row& row);
    void writeLine(const Row& row);
    [[nodiscard]] Row titles() const;

    Output& m_out;
    std::vector<Column> m_columns;
    Format m_format;
    bool m_isForPeople;
    bool m_isBegun = false;
    std::vector<Row> m_rows;
    std::vector<int> m_widths;  ///< 0 for a column that is left out
};

}  // namespace cli
