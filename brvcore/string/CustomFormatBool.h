#pragma once

#include "brvcore/foundation/TString.h"

#include <cstdint>

// Which pair of words a boolean format writes.
enum class BooleanKind : std::uint8_t
{
    None = 0,   // a boolean format that names no pair; written like TrueFalse
    TrueFalse = 1,
    YesNo = 2,
    OnOff = 3,
};

// The pairs of words of a language.
struct BooleanWords;

// The words of a locale's language (0, 1024 and 2048: the user's), in English where the language is unknown. The reference
// holds until the process ends. Asks for the user's settings, so not for a hot path.
const BooleanWords& FindBooleanWords(unsigned locale);

// The word of a value.
TString FormatBool(BooleanKind kind, bool value, const BooleanWords& words);
