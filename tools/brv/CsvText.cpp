#include "CsvText.h"

#include <algorithm>
#include <cstddef>
#include <string_view>

std::string CsvLine(const std::vector<std::string>& cells)
{
    if (cells.size() == 1 && cells.front().empty())
        return "\"\"\n";   // a blank line is no row
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

std::string UniqueName(const std::vector<std::string>& header, const std::string& name)
{
    std::string unique = name;
    for (int i = 2; std::find(header.begin(), header.end(), unique) != header.end(); ++i)
        unique = name + "_" + std::to_string(i);
    return unique;
}
