#pragma once

#include "Failure.h"
#include "Options.h"

// brv sweep: brings a folder within limits by removing whole entries, each named on the standard output as it goes; or
// tells what it would remove. ExitCode::Limits when they are not met in the end.
// Throws DataError when the path is no folder or cannot be listed, and CancelledException.
ExitCode RunCommand(const SweepOptions& options);
