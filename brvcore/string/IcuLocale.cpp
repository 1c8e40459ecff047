#include "brvcore/string/IcuLocale.h"

#include "brvcore/string/UserLocaleSettings.h"

#include <algorithm>
#include <cstdint>

#include <unicode/dcfmtsym.h>
#include <unicode/formattedvalue.h>
#include <unicode/locid.h>
#include <unicode/measunit.h>
#include <unicode/numberformatter.h>
#include <unicode/uchar.h>
#include <unicode/uloc.h>
#include <unicode/unistr.h>
#include <unicode/unum.h>
#include <unicode/ures.h>
#include <unicode/utf16.h>

namespace
{

using Symbols = icu::DecimalFormatSymbols;

constexpr std::size_t kDigits = 10;
constexpr std::array kSymbolsBehindDigits = {Symbols::kGroupingSeparatorSymbol, Symbols::kDecimalSeparatorSymbol,
    Symbols::kExponentialSymbol, Symbols::kPlusSignSymbol, Symbols::kMinusSignSymbol, Symbols::kCurrencySymbol,
    Symbols::kPercentSymbol, Symbols::kPerMillSymbol};
static_assert(kDigits + kSymbolsBehindDigits.size() == kNumberSymbolCount);

using NameBuffer = std::array<char, ULOC_FULLNAME_CAPACITY>;

// What a function wrote that returns a length; empty when it failed.
std::string Written(const NameBuffer& buffer, std::int32_t length, UErrorCode status)
{
    if (U_FAILURE(status) || length <= 0 || length > ULOC_FULLNAME_CAPACITY)
        return {};
    return {buffer.data(), static_cast<std::size_t>(length)};
}

// Empty for a locale without data of its own or of its language: the library would quietly take the process's locale.
std::string WhereDataExist(std::string localeName)
{
    UErrorCode status = U_ZERO_ERROR;
    ures_close(ures_open(nullptr, localeName.c_str(), &status));
    if (U_FAILURE(status) || status == U_USING_DEFAULT_WARNING)
        localeName.clear();
    return localeName;
}

// English as people write it, in place of the conventions of the C language: those do not group.
std::string_view WithoutPosix(std::string_view localeName)
{
    return localeName == "en_US_POSIX" ? "en_US" : localeName;
}

TString CodePointText(UChar32 c)
{
    std::array<char16_t, U16_MAX_LENGTH> units;
    std::size_t length = 0;
    U16_APPEND_UNSAFE(units.data(), length, c);
    return std::u16string_view(units.data(), length);
}

UNumberFormatStyle StyleOf(IcuNumberPattern kind)
{
    switch (kind)
    {
    case IcuNumberPattern::Percent:
        return UNUM_PERCENT;
    case IcuNumberPattern::Currency:
        return UNUM_CURRENCY;
    case IcuNumberPattern::Decimal:
        break;
    }
    return UNUM_DECIMAL;
}

icu::MeasureUnit UnitOf(IcuDataUnit unit)
{
    switch (unit)
    {
    case IcuDataUnit::Kilobyte:
        return icu::MeasureUnit::getKilobyte();
    case IcuDataUnit::Megabyte:
        return icu::MeasureUnit::getMegabyte();
    case IcuDataUnit::Gigabyte:
        break;
    }
    return icu::MeasureUnit::getGigabyte();
}

TString TextOf(const icu::UnicodeString& text)
{
    return std::u16string_view(text.getBuffer(), static_cast<std::size_t>(text.length()));
}

}   // namespace

std::string IcuLocaleName(unsigned locale)
{
    if (IsUserLocale(locale))
        return IcuLocaleNameOfTag(GetUserLocaleSettings().localeTag);
    NameBuffer buffer;
    UErrorCode status = U_ZERO_ERROR;
    const std::int32_t length = uloc_getLocaleForLCID(locale, buffer.data(), ULOC_FULLNAME_CAPACITY, &status);
    const std::string name = Written(buffer, length, status);
    if (name == "root")   // what identifiers without a language of their own get
        return {};
    return WhereDataExist(std::string(WithoutPosix(name)));
}

std::string IcuDefaultLocaleName()
{
    return WhereDataExist(std::string(WithoutPosix(uloc_getDefault())));
}

std::string IcuLocaleNameOfTag(std::u16string_view tag)
{
    const std::string bytes = TString(tag).Replaced(u"_", u"-").ToUTF8();
    NameBuffer buffer;
    UErrorCode status = U_ZERO_ERROR;
    std::int32_t parsed = 0;
    const std::int32_t length =
        uloc_forLanguageTag(bytes.c_str(), buffer.data(), ULOC_FULLNAME_CAPACITY, &parsed, &status);
    const bool isWhole = static_cast<std::size_t>(parsed) == bytes.size();
    return isWhole ? WhereDataExist(Written(buffer, length, status)) : std::string();
}

TString IcuTagOfLocaleName(const std::string& localeName)
{
    NameBuffer buffer;
    UErrorCode status = U_ZERO_ERROR;
    const std::int32_t length =
        localeName.empty() ? 0
                           : uloc_toLanguageTag(localeName.c_str(), buffer.data(), ULOC_FULLNAME_CAPACITY, 0, &status);
    return TString::FromUTF8(Written(buffer, length, status));
}

std::optional<unsigned> IcuIdentifierOfLocaleName(const std::string& localeName)
{
    const unsigned identifier = localeName.empty() ? 0 : uloc_getLCID(localeName.c_str());
    return identifier == 0 ? std::nullopt : std::optional(identifier);
}

std::optional<NumberSymbols> FindIcuNumberSymbols(const std::string& localeName)
{
    UErrorCode status = U_ZERO_ERROR;
    const Symbols source(icu::Locale(localeName.c_str()), status);
    if (localeName.empty() || U_FAILURE(status))
        return std::nullopt;
    NumberSymbols symbols;
    // The digits are the zero and the nine code points behind it, which need not lie in the basic plane.
    const UChar32 zero = source.getConstSymbol(Symbols::kZeroDigitSymbol).char32At(0);
    for (std::size_t digit = 0; digit < kDigits; ++digit)
        symbols[digit] = CodePointText(zero + static_cast<UChar32>(digit));
    for (std::size_t i = 0; i < kSymbolsBehindDigits.size(); ++i)
    {
        const icu::UnicodeString& text = source.getConstSymbol(kSymbolsBehindDigits[i]);
        symbols[kDigits + i] = TextOf(text);
    }
    return symbols;
}

std::u16string IcuPattern(const std::string& localeName, IcuNumberPattern kind)
{
    UErrorCode status = U_ZERO_ERROR;
    UNumberFormat* const format =
        unum_open(StyleOf(kind), nullptr, 0, localeName.empty() ? "en_US" : localeName.c_str(), nullptr, &status);
    std::array<char16_t, 128> buffer;
    const std::int32_t length =
        unum_toPattern(format, 0, buffer.data(), static_cast<std::int32_t>(buffer.size()), &status);
    unum_close(format);
    if (U_FAILURE(status) || length > static_cast<std::int32_t>(buffer.size()))
        return u"#,##0.00";
    return {buffer.data(), static_cast<std::size_t>(length)};
}

bool IcuSetsCurrencyApart(std::u16string_view symbol, CurrencySide side)
{
    if (symbol.empty())
        return false;
    const auto length = static_cast<std::int32_t>(symbol.size());
    UChar32 edge = 0;
    U16_GET(symbol.data(), 0, side == CurrencySide::InFront ? length - 1 : 0, length, edge);
    return (U_GET_GC_MASK(edge) & (U_GC_S_MASK | U_GC_Z_MASK)) == 0;
}

UnitAffixes IcuUnitAffixes(const std::string& localeName, IcuDataUnit unit, double amount, int decimals)
{
    UErrorCode status = U_ZERO_ERROR;
    const icu::number::FormattedNumber formatted =
        icu::number::NumberFormatter::withLocale(icu::Locale(localeName.empty() ? "en_US" : localeName.c_str()))
            .unit(UnitOf(unit))
            .unitWidth(UNUM_UNIT_WIDTH_SHORT)
            .precision(icu::number::Precision::fixedFraction(decimals))
            .formatDouble(amount, status);
    const icu::UnicodeString text = formatted.toString(status);
    // The amount reaches from the first to the last of its fields.
    std::int32_t begin = text.length();
    std::int32_t end = 0;
    icu::ConstrainedFieldPosition field;
    field.constrainCategory(UFIELD_CATEGORY_NUMBER);
    while (formatted.nextPosition(field, status))
        if (field.getField() != UNUM_MEASURE_UNIT_FIELD)
        {
            begin = std::min(begin, field.getStart());
            end = std::max(end, field.getLimit());
        }
    if (U_FAILURE(status) || begin >= end)
        return {{}, TString(u" ") + TString::FromUTF8(UnitOf(unit).getSubtype())};
    return {TextOf(text.tempSubStringBetween(0, begin)), TextOf(text.tempSubStringBetween(end))};
}
