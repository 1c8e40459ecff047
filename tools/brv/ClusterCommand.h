#pragma once

#include "Failure.h"
#include "Options.h"

// brv cluster: puts the rows of a table into clusters. Rows with missing cells and columns without numbers are named on the
// standard error.
// Throws UsageError, DataError (its line belongs to the file of the options) and CancelledException.
ExitCode RunCommand(const ClusterOptions& options);
