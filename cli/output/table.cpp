#include "output/table.h"

#include <unistd.h>

#include <algorithm>
#include <limits>
#include <utility>

#include "base/text.h"

namespace cli {
namespace {

constexpr int gap = 2;
/// Names are cut last, but where they are long and all else says nothing any more.
constexpr int narrowText = 20;
constexpr int narrowName = 24;
constexpr int narrowestText = 6;
constexpr int narrowestName = 12;
/// So many rows tell the widths.
constexpr std::size_t mostKept = 500;

/// In quotes where it holds what separates.
std::string csvText(const std::string& text) {
    if (text.find_first_of(",\"\r\n") == std::string::npos) {
        return text;
    }
    std::string quoted = "\"";
    for (const char c : text) {
        quoted.append(c == '"' ? 2 : 1, c);
    }
    return quoted + "\"";
}

}  // namespace

Format formatOf(std::string_view name) {
    return name == "table" ? Format::people
           : name == "tsv" ? Format::tsv
           : name == "csv" ? Format::csv
                           : Format::automatic;
}

Table::Table(Output& out, std::vector<Column> columns, Format format)
    : m_out(out),
      m_columns(std::move(columns)),
      m_format(format),
      m_isForPeople(format == Format::people || (format == Format::automatic && out.isTerminal())) {
}

Table::Row Table::titles() const {
    Row row;
    for (const Column& column : m_columns) {
        row.push_back({m_isForPeople || column.key.empty() ? column.title : column.key, "1"});
    }
    return row;
}

void Table::add(Row row) {
    if (!m_isForPeople) {
        if (!std::exchange(m_isBegun, true) && m_format != Format::automatic) {
            writeLine(titles());
        }
        writeLine(row);
        return;
    }
    for (Cell& cell : row) {
        cell.text = cell.text.empty() ? "-" : escapeText(cell.text);
    }
    if (m_isBegun) {
        print(row);
        return;
    }
    m_rows.push_back(std::move(row));
    if (m_rows.size() == mostKept) {
        printKept();
    }
}

void Table::finish() {
    if (m_isForPeople) {
        printKept();
    } else if (!m_isBegun && m_format != Format::automatic) {
        writeLine(titles());
    }
}

void Table::writeLine(const Row& row) {
    const bool isCsv = m_format == Format::csv;
    std::string line;
    for (const Cell& cell : row) {
        line += &cell == row.data() ? "" : isCsv ? "," : "\t";
        const std::string text = isCsv && !m_out.isTerminal() ? cell.text : escapeText(cell.text);
        line += isCsv ? csvText(text) : m_out.styled(text.empty() ? "-" : text, cell.style);
    }
    m_out.write(line + (isCsv ? "\r\n" : "\n"));
}

void Table::printKept() {
    if (m_rows.empty()) {
        return;
    }
    for (const Column& column : m_columns) {
        m_widths.push_back(displayWidth(column.title));
    }
    for (std::size_t i = 0; i < m_columns.size(); ++i) {
        const auto isUnknown = [&](const Row& row) { return row[i].text == "?"; };
        const auto first = std::ranges::find_if_not(m_rows, isUnknown);
        const auto isNoOther = [&](const Row& row) {
            return isUnknown(row) || row[i].text == (*first)[i].text;
        };
        if (m_columns[i].isOnlyForDifferences && std::ranges::all_of(m_rows, isNoOther)) {
            m_widths[i] = 0;
            continue;
        }
        for (const Row& row : m_rows) {
            m_widths[i] = std::max(m_widths[i], displayWidth(row[i].text));
        }
    }
    if (m_out.isTerminal()) {
        leaveOutColumns();
        shrink();
    }
    m_isBegun = true;
    Row heads = titles();
    for (std::size_t i = 0; i < heads.size(); ++i) {
        heads[i].text = fitWidthByMiddle(heads[i].text, m_widths[i]);  // it may be a name
    }
    print(heads);
    for (const Row& row : m_rows) {
        print(row);
    }
    m_rows.clear();
}

int Table::totalWidth() const {
    int total = -gap;
    for (const int width : m_widths) {
        total += width > 0 ? width + gap : 0;
    }
    return total;
}

void Table::leaveOutColumns() {
    const std::vector<int> widths = m_widths;
    shrink();
    while (totalWidth() > terminalWidth(STDOUT_FILENO)) {
        std::size_t least = m_columns.size();
        for (std::size_t i = 0; i < m_columns.size(); ++i) {
            const int rank = m_widths[i] > 0 ? m_columns[i].leftOutAs : 0;
            if (rank > 0 && (least == m_columns.size() || rank > m_columns[least].leftOutAs)) {
                least = i;
            }
        }
        if (least == m_columns.size()) {
            break;
        }
        m_widths[least] = 0;
    }
    // What is left may be as wide as it was.
    for (std::size_t i = 0; i < widths.size(); ++i) {
        m_widths[i] = m_widths[i] > 0 ? widths[i] : 0;
    }
}

void Table::shrink() {
    shrinkThose(Column::Cut::end, narrowText);
    shrinkThose(Column::Cut::name, narrowName);
    shrinkThose(Column::Cut::end, narrowestText);
    shrinkThose(Column::Cut::name, narrowestName);
}

void Table::shrinkThose(Column::Cut cut, int narrowest) {
    for (int excess = totalWidth() - terminalWidth(STDOUT_FILENO); excess > 0; --excess) {
        int* widest = nullptr;
        for (std::size_t i = 0; i < m_widths.size(); ++i) {
            if (m_columns[i].cut == cut && (!widest || m_widths[i] > *widest)) {
                widest = &m_widths[i];
            }
        }
        if (!widest || *widest <= narrowest) {
            return;
        }
        --*widest;
    }
}

void Table::print(const Row& row) {
    std::string line;
    std::string pending;  // blanks at the end of a line are left out
    for (std::size_t i = 0; i < row.size(); ++i) {
        const Column& column = m_columns[i];
        const int width = m_widths[i];
        if (width == 0) {
            continue;
        }
        const std::string text = column.cut == Column::Cut::never ? row[i].text
                                 : column.cut == Column::Cut::name
                                     ? fitWidthByMiddle(row[i].text, width)
                                     : fitWidth(row[i].text, width);
        const std::string pad(static_cast<std::size_t>(std::max(width - displayWidth(text), 0)),
                              ' ');
        const bool isRight = column.align == Column::Align::right;
        line += pending + (isRight ? pad : "") + m_out.styled(text, row[i].style);
        pending = (isRight ? "" : pad) + std::string(gap, ' ');
    }
    m_out.write(line + "\n");
}

}  // namespace cli
