#include "output/table.h"

#include <algorithm>
#include <numeric>
#include <utility>

#include "base/text.h"

namespace cli {
namespace {

constexpr int gap = 2;
constexpr int narrowest = 8;

}  // namespace

Table::Table(Output& out, std::vector<Column> columns)
    : m_out(out), m_columns(std::move(columns)) {}

void Table::add(std::vector<Cell> row) {
    for (Cell& cell : row) {
        cell.text = cell.text.empty() ? "-" : escapeText(cell.text);
    }
    if (m_out.isTerminal()) {
        m_rows.push_back(std::move(row));
        return;
    }
    std::string line;
    for (const Cell& cell : row) {
        line += (line.empty() ? "" : "\t") + m_out.styled(cell.text, cell.style);
    }
    m_out.write(line + "\n");
}

void Table::finish() {
    if (m_rows.empty()) {
        return;
    }
    std::vector<int> widths;
    std::vector<Cell> titles;
    for (const Column& column : m_columns) {
        widths.push_back(displayWidth(column.title));
        titles.push_back({column.title, "1"});
    }
    for (const std::vector<Cell>& row : m_rows) {
        for (std::size_t i = 0; i < row.size(); ++i) {
            widths[i] = std::max(widths[i], displayWidth(row[i].text));
        }
    }
    shrink(widths);
    print(titles, widths);
    for (const std::vector<Cell>& row : m_rows) {
        print(row, widths);
    }
    m_rows.clear();
}

void Table::shrink(std::vector<int>& widths) const {
    int excess = std::accumulate(widths.begin(), widths.end(), -gap - terminalWidth(STDOUT_FILENO),
                                 [](int sum, int width) { return sum + width + gap; });
    for (; excess > 0; --excess) {
        int* widest = nullptr;
        for (std::size_t i = 0; i < widths.size(); ++i) {
            if (!m_columns[i].isRigid && (!widest || widths[i] > *widest)) {
                widest = &widths[i];
            }
        }
        if (!widest || *widest <= narrowest) {
            return;
        }
        --*widest;
    }
}

void Table::print(const std::vector<Cell>& row, const std::vector<int>& widths) {
    std::string line;
    for (std::size_t i = 0; i < row.size(); ++i) {
        const bool isLast = i + 1 == row.size();
        const std::string text = fitWidth(row[i].text, widths[i]);
        const std::string pad(static_cast<std::size_t>(widths[i] - displayWidth(text)), ' ');
        const bool isRight = m_columns[i].align == Column::Align::right;
        line += (isRight ? pad : "") + m_out.styled(text, row[i].style);
        if (!isLast) {
            line += (isRight ? "" : pad) + std::string(gap, ' ');
        }
    }
    m_out.write(line + "\n");
}

}  // namespace cli
