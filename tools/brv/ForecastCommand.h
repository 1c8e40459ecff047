#pragma once

#include "Failure.h"
#include "Options.h"

// brv forecast: reads the table, forecasts every partition over the cores and prints the results in input order.
// Throws UsageError, DataError (its line belongs to the file of the options) and CancelledException.
ExitCode RunCommand(const ForecastOptions& options);
