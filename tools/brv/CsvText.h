#pragma once

#include <string>
#include <vector>

// One line of comma-separated values with its line end. Cells are quoted where RFC 4180 asks for it, and where a reader
// would trim them or see a blank line.
std::string CsvLine(const std::vector<std::string>& cells);

// The name, or the name with the first number that no column has: for a column that is added.
std::string UniqueName(const std::vector<std::string>& header, const std::string& name);
