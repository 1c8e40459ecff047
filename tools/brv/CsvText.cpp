#include "CsvText.h"

#include <cstddef>
#include <string_view>

std::string CsvLine(const std::vector<std::string>& cells)
{
    std::string line;
    for (std::size_t i = 0; i < cells.size(); ++i)
    {
        const std::string_view cell = cells[i];
        line += i == 0 ? "" : ",";
        // Blanks at the ends are part of the cell, and readers trim them when they are not quoted.
        const bool needsQuotes = cell.find_first_of("\",\r\n") != std::string_view::npos || cell.starts_with(' ') ||
                                 cell.ends_with(' ') || cell.starts_with('\t') || cell.ends_with('\t');
        if (!needsQuotes)
        {
            line += cell;
            continue;
        }
        line += '"';
        for (const char c : cell)
            line.append(c == '"' ? 2 : 1, c);
        line += '"';
    }
    return line + "\n";
}
