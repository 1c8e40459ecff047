#pragma once

#include "Failure.h"
#include "Options.h"

// brv format: numbers, booleans and dates, or a column of a file, as a custom format shows them.
// Throws UsageError for a format that does not compile and a value of the command line that is none of its kind, DataError
// and CancelledException.
ExitCode RunCommand(const FormatOptions& options);
