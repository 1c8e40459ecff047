#pragma once

#include "Failure.h"
#include "Options.h"

// brv split: cuts a column of text into typed fields, or counts what a regular expression matches in it. Missing cells are
// named on the standard error.
// Throws UsageError, DataError and CancelledException.
ExitCode RunCommand(const SplitOptions& options);
