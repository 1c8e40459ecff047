#pragma once

#include "brvcore/foundation/DataType.h"
#include "brvcore/string/CustomFormatTokens.h"

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

// What a format that is not empty and not a name formats by its first telling character: Real or DateTime; nothing when no
// character tells.
std::optional<DataType> FindFormatKind(std::u16string_view format) noexcept;

// Compiles a number format; O(length). False when it needs more than the stream holds: 243 bytes of tokens, literal text
// beyond the first 255 code units, or a count above 255.
bool CompileNumberFormat(std::u16string_view format, std::span<std::uint8_t, NumberStream::kSize> stream);
