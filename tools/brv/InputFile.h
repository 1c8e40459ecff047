#pragma once

#include "Failure.h"

#include <cstdint>
#include <limits>
#include <string>

// The bytes of a file, or of the standard input for "-"; on a terminal with a bar while a long one is read. Throws DataError
// when it cannot be read or has more than `mostBytes`, and CancelledException on Ctrl-C.
std::string ReadInput(const std::string& path, std::uint64_t mostBytes = std::numeric_limits<std::uint64_t>::max());
// The name of that input in messages.
std::string InputName(const std::string& path);
