#pragma once

#include "Failure.h"
#include "Options.h"

// Sends an HTTP request and writes the body of the reply to the standard output, a file, or a file for each part.
ExitCode RunCommand(const FetchOptions& options);
