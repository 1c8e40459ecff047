#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

// Numbers and small pieces of text, in UTF-8 and without regard to the locale.

// With a fixed number of decimals; "n/a" for NaN.
std::string FixedNumber(double value, int decimals);
// With this many significant digits and without trailing zeros; "n/a" for NaN.
std::string SignificantNumber(double value, int digits);
// A probability with four decimals, "< 0.0001" below them; "n/a" for NaN.
std::string ProbabilityText(double p);
// For a cell of a table whose largest magnitude is given: with about `digits` significant digits of that one and fixed
// decimals, or with an exponent where these would be a row of zeros.
std::string CellNumber(double value, double largestMagnitude, int digits);
// "1 row", "2 rows".
std::string Counted(std::size_t count, const std::string& noun);
// The shortest text that reads back as the same number; empty for NaN.
std::string ExactNumber(double value);
// Decimals that show the largest of some magnitudes with about `digits` significant digits.
int DecimalsFor(double largestMagnitude, int digits);

inline bool IsContinuationByte(char c)
{
    return (static_cast<unsigned char>(c) & 0xC0) == 0x80;
}
std::size_t CharacterCount(std::string_view utf8);
// The text with every malformed sequence replaced by U+FFFD.
std::string ValidUtf8(std::string_view bytes);

// The text with control characters (also U+0080 to U+009F) as \xNN by byte: no line of the terminal but the one meant.
std::string Printable(std::string_view text);
// At most as many characters, then "...".
std::string Shortened(std::string_view utf8, std::size_t most);

std::string Join(const std::vector<std::string>& pieces, std::string_view separator);
