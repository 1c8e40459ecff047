#pragma once

#include "Failure.h"
#include "Options.h"

// brv anova: whether the means of a column differ between the groups that another column names. Rows with a missing cell
// are named on the standard error and left out.
// Throws DataError (its line belongs to the file of the options) and CancelledException.
ExitCode RunCommand(const AnovaOptions& options);
