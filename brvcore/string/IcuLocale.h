#pragma once

#include "brvcore/foundation/TString.h"

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

// The locale library seen from this folder: names of locales, symbols and patterns of numbers. A locale's name is the
// library's own notation ("de_DE"); empty stands for an unknown locale, and for one without data. Every function may be called by several threads at
// once; none is cheap enough for a hot path.

// Name of the locale of an identifier, of the user's locale for 0, 1024 and 2048.
std::string IcuLocaleName(unsigned locale);
// Name of the locale that the process runs in; that of American English for "C" and "POSIX".
std::string IcuDefaultLocaleName();

// BCP 47, with "-" or "_" between its parts.
std::string IcuLocaleNameOfTag(std::u16string_view tag);
TString IcuTagOfLocaleName(const std::string& localeName);
std::optional<unsigned> IcuIdentifierOfLocaleName(const std::string& localeName);

// Symbols of numbers: ten digits, grouping and decimal separators, exponent, plus, minus, currency, percent, permille.
constexpr std::size_t kNumberSymbolCount = 18;
using NumberSymbols = std::array<TString, kNumberSymbolCount>;
// Nothing for an unknown locale.
std::optional<NumberSymbols> FindIcuNumberSymbols(const std::string& localeName);

enum class IcuNumberPattern
{
    Decimal,
    Percent,
    Currency,   // with the decimals of the locale's currency
};

// The locale's pattern in the notation of Unicode's locale data, "#,##0.00 ¤"; that of English for an unknown locale.
std::u16string IcuPattern(const std::string& localeName, IcuNumberPattern kind);

enum class CurrencySide
{
    InFront,   // of the digits
    Behind,
};

// True when a currency's symbol needs a no-break space where it would touch digits: "R" and "CHF" do, "$" does not. The rule
// of Unicode's locale data (UTS #35, currencySpacing): its character there is neither a symbol nor a separator.
bool IcuSetsCurrencyApart(std::u16string_view symbol, CurrencySide side);

// Units of data, of 1000 each.
enum class IcuDataUnit
{
    Kilobyte,
    Megabyte,
    Gigabyte,
};

// What stands around an amount.
struct UnitAffixes
{
    TString inFront;
    TString behind;
};

// The short name of a unit with the blank that the locale has beside it: " MB", " Mo" with a no-break space in French.
// The amount, with so many decimals, is what chooses a plural. English for an unknown locale.
UnitAffixes IcuUnitAffixes(const std::string& localeName, IcuDataUnit unit, double amount, int decimals);
