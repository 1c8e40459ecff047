#pragma once

#include "brvcore/foundation/BrvExport.h"
#include "brvcore/foundation/TString.h"

#include <concepts>
#include <cstdint>
#include <type_traits>
#include <utility>
#include <vector>

// A message template with placeholders %1 to %99, filled in the order of the arg() calls. The template is read once, when
// the result is asked for: a "%2" inside an argument is text, a placeholder without an argument stays as it is, and "%0"
// or a lone "%" is text. The longest number wins: "%12" is the twelfth argument.
//
//     TFormatString(u"%1 of %2 rows").arg(3).arg(total).result()
class BRV_EXPORT TFormatString
{
    template <class T>
    static constexpr bool IsCharacter =
        std::same_as<T, char> || std::same_as<T, char8_t> || std::same_as<T, char16_t> || std::same_as<T, char32_t> ||
        std::same_as<T, wchar_t>;

public:
    explicit TFormatString(TString format) : m_format(std::move(format)) {}

    TFormatString& arg(const TString& text, int fieldWidth = 0, char16_t fill = u' ');
    // Negative numbers count the sign in the width. With the fill '0' the zeros stand between the sign and the
    // digits; on the right blanks replace them.
    template <class Int>
    requires(std::integral<Int> && !std::same_as<Int, bool> && !IsCharacter<Int>) TFormatString& arg(
        Int value, int fieldWidth = 0, int base = 10, char16_t fill = u' ')
    {
        if constexpr (std::is_signed_v<Int>)
            return ArgNumber(TString::FromInt(value, base), fieldWidth, fill);
        else
            return ArgNumber(TString::FromUInt(value, base), fieldWidth, fill);
    }
    // Format 'e', 'f' or 'g'; a negative precision writes the shortest form that reads back as the same value.
    TFormatString& arg(double value, int fieldWidth = 0, char format = 'g', int precision = -1, char16_t fill = u' ');

    TString result() const;

private:
    // A positive width pads on the left, a negative one on the right.
    TFormatString& ArgNumber(const TString& digits, int fieldWidth, char16_t fill);

    TString m_format;
    std::vector<TString> m_args;
};
