#pragma once

#include "brvcore/string/DateTimeFields.h"

#include <initializer_list>
#include <string>
#include <string_view>

// A pattern in the notation of Unicode's locale data, "d. MMMM y", cut into parts. Empty for one with a field that is not
// known here, which no locale's pattern of the Gregorian calendar has.
DateTimeParts PartsOfPattern(std::u16string_view pattern);

// What a pattern puts between its first two neighbouring fields of these kinds, "." for those of "d.M.y", without the blanks
// around it; the given text when that is empty or a word.
std::u16string SeparatorInPattern(
    const DateTimeParts& parts, std::initializer_list<DateTimeField> fields, std::u16string_view otherwise);
