#pragma once

#include "CsvTable.h"
#include "Options.h"
#include "SplitFormula.h"
#include "brvcore/data/ICUDateFormatInspector.h"

#include <cstddef>
#include <map>
#include <string>
#include <vector>

// The column of text to look at. Values that come one per line are a table with the single column "value".
struct TextColumn
{
    CsvTable table;
    std::size_t column = 0;
    std::vector<TString> values;             // by row; empty: missing
    std::map<TString, std::size_t> counts;   // how many rows have each value, missing ones aside
    std::vector<int> missingLines;

    const std::string& Name() const { return table.header[column]; }
    std::size_t PresentRows() const { return values.size() - missingLines.size(); }
};

// Throws DataError when there is no such column, or no value in it, and CancelledException on Ctrl-C.
TextColumn ReadTextColumn(const std::string& bytes, const SplitOptions& options);

// A field as inferred, and what becomes of it.
struct SplitField
{
    SplitSpec spec;
    bool isUsed = true;            // false: it ends with white space, which separates nothing beside other separators
    std::size_t calculation = 0;   // its number from 1; 0: none
};

struct SplitCalculation
{
    TString text;
    SplitFormula formula;
    std::size_t rows = 0;   // for which it yields something
};

// How a column is cut.
struct ColumnSplit
{
    std::vector<SplitField> fields;   // none where the user gave the separator
    std::vector<SplitCalculation> calculations;
    std::size_t fittingRows = 0;   // for which every calculation yields something

    std::vector<FieldValue> Cut(const TString& value) const;
};

// Infers the fields, or takes the separator of --custom. Throws CancelledException on Ctrl-C.
ColumnSplit SplitColumn(const TextColumn& column, const SplitOptions& options);

// What a regular expression matches from end to end.
struct MatchCounts
{
    std::size_t values = 0;   // distinct ones
    std::size_t rows = 0;
};

// Throws UsageError for a pattern that is none, or needs too many steps or too much memory for a value, and CancelledException on Ctrl-C.
MatchCounts CountMatches(const TextColumn& column, const std::string& pattern);
