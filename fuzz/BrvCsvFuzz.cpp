// Tables from outside: whatever the bytes are, they are a table of even rows or one error with a line of the text.

#include "tools/brv/CsvTable.h"
#include "tools/brv/Failure.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string text(reinterpret_cast<const char*>(data), size);
    const auto lines = std::count(text.begin(), text.end(), '\n') + std::count(text.begin(), text.end(), '\r') + 1;
    try
    {
        const CsvTable table = ParseCsv(text, "table.csv");
        int previous = table.headerLine;
        for (const CsvTable::Row& row : table.rows)
        {
            if (row.cells.size() != table.header.size() || row.line <= previous || row.line > lines)
                std::abort();
            previous = row.line;
        }
    }
    catch (const DataError& error)
    {
        if (error.GetLine() < 0 || error.GetLine() > lines + 1)
            std::abort();
    }
    return 0;
}
