#include "CsvTable.h"

#include "Interrupt.h"
#include "Text.h"
#include "brvcore/foundation/CancellationChecker.h"
#include "brvcore/foundation/TString.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <new>

#include <csv.h>

namespace
{

// The parser's callbacks and the rows that they build. One line of the input is fed at a time, so that the line is known.
class CsvBuilder
{
public:
    explicit CsvBuilder(CsvTable& table) : m_table(table)
    {
        if (csv_init(&m_parser, CSV_STRICT | CSV_STRICT_FINI) != 0)
            throw std::bad_alloc();
    }
    ~CsvBuilder() { csv_free(&m_parser); }
    CsvBuilder(const CsvBuilder&) = delete;
    CsvBuilder& operator=(const CsvBuilder&) = delete;

    void Feed(std::string_view line)
    {
        ++m_line;
        if (!m_isOpen)
            m_rowLine = m_line;
        m_isOpen = m_isOpen || line.find_first_not_of(" \t\r\n") != std::string_view::npos;
        if (csv_parse(&m_parser, line.data(), line.size(), &OnCell, &OnRow, this) != line.size())
            Fail(m_line);
    }
    void Finish()
    {
        if (csv_fini(&m_parser, &OnCell, &OnRow, this) != 0)
            Fail(m_rowLine);
    }

private:
    [[noreturn]] void Fail(int line)
    {
        if (csv_error(&m_parser) != CSV_EPARSE)
            throw std::bad_alloc();
        throw DataError(line,
            line == m_rowLine
                ? "a quotation mark is not closed, or stands inside a cell without quotes"
                : "a quotation mark is not closed properly; the cell begins in line " + std::to_string(m_rowLine));
    }

    // Called from C: nothing may be thrown but what ends the program anyway (bad_alloc).
    static void OnCell(void* text, std::size_t length, void* self)
    {
        static_cast<CsvBuilder*>(self)->m_cells.emplace_back(static_cast<const char*>(text), length);
    }
    static void OnRow(int, void* self)
    {
        auto& builder = *static_cast<CsvBuilder*>(self);
        builder.m_isOpen = false;
        builder.m_table.rows.push_back({builder.m_rowLine, std::move(builder.m_cells)});
        builder.m_cells.clear();
    }

    CsvTable& m_table;
    csv_parser m_parser{};
    std::vector<std::string> m_cells;
    int m_line = 0;
    int m_rowLine = 0;
    bool m_isOpen = false;   // the row so far has no end: a quoted cell goes on in the next line
};

// The next line with its end, LF, CRLF or CR.
std::string_view TakeLine(std::string_view& rest)
{
    std::size_t end = rest.find_first_of("\r\n");
    end = end == std::string_view::npos                                         ? rest.size()
          : rest[end] == '\r' && end + 1 < rest.size() && rest[end + 1] == '\n' ? end + 2
                                                                                : end + 1;
    const std::string_view line = rest.substr(0, end);
    rest.remove_prefix(end);
    return line;
}

void CheckShape(const CsvTable& table)
{
    for (const CsvTable::Row& row : table.rows)
        if (row.cells.size() != table.header.size())
            throw DataError(row.line, "the row has " + std::to_string(row.cells.size()) + " cells, the header " +
                                          std::to_string(table.header.size()));
}

}   // namespace

CsvTable ParseCsv(std::string_view bytes, std::string file)
{
    CsvTable table;
    table.file = std::move(file);
    if (bytes.starts_with("\xEF\xBB\xBF"))
        bytes.remove_prefix(3);
    if (bytes.starts_with("\xFF\xFE") || bytes.starts_with("\xFE\xFF"))
        throw DataError(1, "the text is UTF-16; UTF-8 is expected");
    {
        CsvBuilder builder(table);
        while (!bytes.empty())
        {
            if (IsInterrupted())
                throw CancelledException();
            builder.Feed(TakeLine(bytes));
        }
        builder.Finish();
    }
    if (table.rows.empty())
        throw DataError(0, "the file is empty; a line with the names of the columns is expected");
    table.headerLine = table.rows.front().line;
    table.header = std::move(table.rows.front().cells);
    table.rows.erase(table.rows.begin());
    CheckShape(table);
    return table;
}

std::size_t CsvTable::FindColumn(const std::string& name) const
{
    const auto found = std::find(header.begin(), header.end(), name);
    if (found == header.end())
    {
        std::vector<std::string> names;
        names.reserve(header.size());
        for (const std::string& column : header)
            names.push_back(Quoted(column));   // whatever stands there, it is one line
        throw DataError(headerLine, "there is no column " + Quoted(name) + "; the columns are " + Join(names, ", "));
    }
    if (std::find(found + 1, header.end(), name) != header.end())
        throw DataError(headerLine, "the column " + Quoted(name) + " stands twice in the header");
    return static_cast<std::size_t>(found - header.begin());
}

bool IsMissing(std::string_view cell)
{
    constexpr std::array<std::string_view, 4> kNames = {"", "na", "nan", "null"};
    std::string lower(cell);
    for (char& c : lower)
        c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    return std::find(kNames.begin(), kNames.end(), lower) != kNames.end();
}

DataError NoValues(const CsvTable& table, std::size_t column)
{
    return {table.headerLine, "column " + Quoted(table.header[column]) + " has no values"};
}

std::optional<double> ParseNumber(std::string_view cell)
{
    const std::optional<double> number = TString::FromUTF8(cell).ToDouble();
    return number && std::isfinite(*number) ? number : std::nullopt;
}
