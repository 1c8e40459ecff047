#pragma once

#include "Failure.h"
#include "Options.h"

// brv describe: statistics of every column whose cells are numbers. A column in which most cells are numbers, but not all,
// is left out with a complaint, and the exit code says so.
// Throws DataError (its line belongs to the file of the options) and CancelledException.
ExitCode RunCommand(const DescribeOptions& options);
