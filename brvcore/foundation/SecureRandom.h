#pragma once

#include "brvcore/foundation/BrvExport.h"

#include <cstdint>

// Unpredictable numbers from the operating system. Safe from any thread.
namespace SecureRandom
{

// 64 bits of the kernel's generator (getentropy). Throws std::system_error when the kernel refuses.
BRV_EXPORT std::uint64_t NextUInt64();

}   // namespace SecureRandom
