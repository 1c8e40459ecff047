#pragma once

#include "CsvTable.h"

#include <cstddef>
#include <string>
#include <vector>

// The numbers of a column, row by row; a missing cell is NaN. Throws DataError for any other cell that is no number.
std::vector<double> ReadNumbers(const CsvTable& table, std::size_t column);

// Which columns hold numbers: those in which more cells are numbers than are anything else, missing ones aside. A bad cell
// among them is for ReadNumbers to report, not a reason to leave the column out.
std::vector<bool> FindNumericColumns(const CsvTable& table);

// "3 rows have a missing cell and are left out: lines 4, 7-8", of the reason "a missing cell" and the verdict "left out".
std::string LeftOutNote(const std::vector<int>& lines, const std::string& reason, const std::string& verdict);
