#pragma once

#include "Failure.h"
#include "InputFile.h"

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// A table of text in UTF-8. Every row has as many cells as the header. Lines count from 1, as editors do.
struct CsvTable
{
    struct Row
    {
        int line;   // where the row starts
        std::vector<std::string> cells;
    };

    std::string file;   // for messages
    int headerLine = 1;
    std::vector<std::string> header;
    std::vector<Row> rows;

    // Throws DataError when the header has no such column, or has it twice.
    std::size_t FindColumn(const std::string& name) const;
};

// Reads comma-separated values with quotes as in RFC 4180: the first row names the columns, lines may end in LF, CRLF or
// CR, blank ones are skipped, and a byte-order mark is dropped. Throws DataError for malformed quoting, a row whose cells
// are more or fewer than the header's, or no header at all, and CancelledException on Ctrl-C.
CsvTable ParseCsv(std::string_view bytes, std::string file);

// Cells that stand for a missing value: empty, "NA", "NaN" and "null", in any letter case.
bool IsMissing(std::string_view cell);
// That a column has nothing but missing cells.
DataError NoValues(const CsvTable& table, std::size_t column);
// A finite number; nothing for anything else.
std::optional<double> ParseNumber(std::string_view cell);
