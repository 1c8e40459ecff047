#pragma once

#include "Failure.h"
#include "Options.h"

// brv pack: puts the bytes of a file into a container, see FastCompression.h. brv unpack: the bytes of a container.
// An output file appears whole or not at all. Throw UsageError, DataError (with the library's reason for a container that
// is none, and our own for one that claims more bytes than its stream can hold) and CancelledException.
ExitCode RunCommand(const PackOptions& options);
ExitCode RunCommand(const UnpackOptions& options);
