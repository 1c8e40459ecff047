#pragma once

#include <string>
#include <vector>

// One line of comma-separated values with its line end. Cells are quoted where RFC 4180 asks for it.
std::string CsvLine(const std::vector<std::string>& cells);
