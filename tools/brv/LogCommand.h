#pragma once

#include "Failure.h"
#include "Options.h"

// brv log: the lines of the standard input, to their last byte also after Ctrl-C, in rotating files of which the newest stay.
// Throws std::runtime_error when the log cannot be opened or lines are lost, DataError when the input cannot be read, and
// CancelledException.
ExitCode RunCommand(const LogOptions& options);
