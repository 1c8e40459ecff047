#pragma once

#include "Columns.h"
#include "CsvTable.h"
#include "Options.h"
#include "brvcore/foundation/DataValue.h"

#include <string>
#include <vector>

// The series of one partition, or why there is none. A period without a row, and one whose cells are all missing, is NaN.
struct Series
{
    std::vector<std::string> partition;   // values of the --by columns
    int line = 0;                         // of its first row
    DataValue first;                      // start of the first period
    std::vector<double> values;           // consecutive periods
    std::vector<double> ignored;          // the periods that --ignore-last took off the end
    std::string failure;                  // "FILE:LINE: ..."; empty when the series can be used
};

// One series per partition, in the order in which the input first names them; one in all without --by columns.
std::vector<Series> BuildSeries(
    const CsvTable& table, const Columns& columns, const Times& times, const ForecastOptions& options);

// "region = North, product = Tea"; empty without --by columns.
std::string PartitionName(const CsvTable& table, const Columns& columns, const std::vector<std::string>& partition);
