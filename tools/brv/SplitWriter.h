#pragma once

#include "Options.h"
#include "SplitRun.h"

#include <string>
#include <vector>

// The fields, the calculations and the first rows cut by them; the file with a column for each calculation; everything.
std::string SplitAsTable(const TextColumn& column, const ColumnSplit& split, const SplitOptions& options);
std::string SplitAsCsv(const TextColumn& column, const ColumnSplit& split);
std::string SplitAsJson(const TextColumn& column, const ColumnSplit& split, const SplitOptions& options);

// Why most rows do not fit, when they do not: a line for each calculation to blame.
std::vector<std::string> MisfitNotes(const TextColumn& column, const ColumnSplit& split);

std::string WriteMatches(const TextColumn& column, const MatchCounts& matches, const SplitOptions& options);
