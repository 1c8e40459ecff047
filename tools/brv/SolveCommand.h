#pragma once

#include "Failure.h"
#include "Options.h"

// brv solve: the least-squares solution of A x = b for every column b of a second file. Rows with a missing cell in either
// file, and columns of A that depend on others, are named on the standard error.
// Throws UsageError, DataError and CancelledException.
ExitCode RunCommand(const SolveOptions& options);
