#include "brvcore/string/NamedFormats.h"

#include "brvcore/string/CustomFormatNumberResources.h"
#include "brvcore/string/IcuLocale.h"

#include <algorithm>
#include <array>
#include <string>

namespace
{

enum class Source
{
    Text,   // the format stands in the table
    Standard,
    Percent,
    Currency,
};

struct Row
{
    std::u16string_view name;   // lower case
    DataType kind;
    Source source;
    std::u16string_view format;
    BooleanKind booleanKind;
    bool isGeneralNumber;
};

// clang-format off
constexpr std::array kRows = {
//  name              kind                source            format                            boolean                general
Row{u"standard",      DataType::Real,     Source::Standard, u"",                              BooleanKind::None,      false},
Row{u"fixed",         DataType::Real,     Source::Standard, u"",                              BooleanKind::None,      false},
Row{u"true/false",    DataType::Boolean,  Source::Text,     u"",                              BooleanKind::TrueFalse, false},
Row{u"on/off",        DataType::Boolean,  Source::Text,     u"",                              BooleanKind::OnOff,     false},
Row{u"yes/no",        DataType::Boolean,  Source::Text,     u"",                              BooleanKind::YesNo,     false},
Row{u"general number",DataType::Real,     Source::Text,     u"0.############;;;0.00###e+00",  BooleanKind::None,      true},
Row{u"percent",       DataType::Real,     Source::Percent,  u"",                              BooleanKind::None,      false},
Row{u"scientific",    DataType::Real,     Source::Text,     u"0.00E+00",                      BooleanKind::None,      false},
Row{u"currency",      DataType::Real,     Source::Currency, u"",                              BooleanKind::None,      false},
Row{u"general date",  DataType::DateTime, Source::Text,     kGeneralDateTime,                 BooleanKind::None,      false},
Row{u"long date",     DataType::DateTime, Source::Text,     u"dddddd",                        BooleanKind::None,      false},
Row{u"short date",    DataType::DateTime, Source::Text,     u"ddddd",                         BooleanKind::None,      false},
Row{u"long time",     DataType::DateTime, Source::Text,     u"ttttt",                         BooleanKind::None,      false},
Row{u"short time",    DataType::DateTime, Source::Text,     u"hh:nn",                         BooleanKind::None,      false},
};
// clang-format on

constexpr std::size_t kLongestName = 14;
static_assert(std::ranges::max(kRows, {}, [](const Row& row) { return row.name.size(); }).name.size() == kLongestName);

constexpr char16_t kPatternCurrency = u'\u00A4';
constexpr std::u16string_view kNoBreakSpace = u"\\\u00A0";   // as a format
constexpr int kPercentDecimals = 2;
constexpr int kStandardDecimals = 2;
constexpr int kDecimalsOfPattern = -1;

// Text in front of or behind the digits of a locale's pattern, as a format: signs become tokens, the rest literal text.
void AppendAffix(std::u16string_view affix, std::u16string_view minus, std::u16string& format)
{
    bool isQuoted = false;   // in the pattern
    for (std::size_t i = 0; i < affix.size(); ++i)
    {
        const char16_t c = affix[i];
        if (c == u'\'')
        {
            const bool isApostrophe = i + 1 < affix.size() && affix[i + 1] == u'\'';
            if (isApostrophe)
            {
                format += u"\\'";
                ++i;
            }
            else
            {
                isQuoted = !isQuoted;
            }
        }
        else if (!isQuoted && c == kPatternCurrency)
        {
            format += u'$';
        }
        else if (!isQuoted && c == u'%')
        {
            format += u'%';
        }
        else if (!isQuoted && c == u'-')
        {
            format.append(u"\"").append(minus).append(u"\"");
        }
        else
        {
            format += u'\\';
            format += c;
        }
    }
}

// One half of a locale's pattern as a section: affixes, grouping as the pattern has it, and a number of decimals.
void AppendSection(
    std::u16string_view pattern, int decimals, const CustomFormatNumberResources& resources, std::u16string& format)
{
    using Symbol = CustomFormatNumberResources::Symbol;
    const TString& minus = resources.GetSymbol(Symbol::Minus);
    const TString& currency = resources.GetSymbol(Symbol::Currency);
    constexpr std::u16string_view kDigitCharacters = u"#0,.";
    const std::size_t first = std::min(pattern.find_first_of(kDigitCharacters), pattern.size());
    const std::size_t last = std::min(pattern.find_last_of(kDigitCharacters), pattern.size() - 1);
    const std::u16string_view digits = pattern.substr(first, last + 1 - first);
    if (decimals == kDecimalsOfPattern)
    {
        const std::size_t point = digits.find(u'.');
        decimals = point == std::u16string_view::npos ? 0 : static_cast<int>(digits.size() - point - 1);
    }
    const std::u16string_view prefix = pattern.substr(0, first);
    const std::u16string_view suffix = pattern.substr(last + 1);
    AppendAffix(prefix, minus, format);
    if (prefix.ends_with(kPatternCurrency) && IcuSetsCurrencyApart(currency, CurrencySide::InFront))
        format += kNoBreakSpace;
    format += digits.find(u',') == std::u16string_view::npos ? u"0" : u"#,##0";
    if (decimals > 0)
        format.append(u".").append(static_cast<std::size_t>(decimals), u'0');
    if (suffix.starts_with(kPatternCurrency) && IcuSetsCurrencyApart(currency, CurrencySide::Behind))
        format += kNoBreakSpace;
    AppendAffix(suffix, minus, format);
}

TString FormatOfPattern(unsigned locale, IcuNumberPattern kind, int decimals)
{
    const std::u16string pattern = IcuPattern(IcuLocaleName(locale), kind);
    const std::u16string_view text = pattern;
    const auto resources = CustomFormatNumberResources::GetPooled(locale);
    std::u16string format;
    const std::size_t semicolon = text.find(u';');
    AppendSection(text.substr(0, semicolon), decimals, *resources, format);
    if (semicolon != std::u16string_view::npos)
    {
        format += u';';
        AppendSection(text.substr(semicolon + 1), decimals, *resources, format);
    }
    return format;
}

bool EqualsName(std::u16string_view format, std::u16string_view name)
{
    return std::ranges::equal(format, name,
        [](char16_t c, char16_t lower) { return c == lower || (c >= u'A' && c <= u'Z' && c + 0x20 == lower); });
}

}   // namespace

std::optional<NamedFormat> FindNamedFormat(std::u16string_view format, unsigned locale)
{
    if (format.size() > kLongestName)
        return std::nullopt;
    const auto* const row = std::ranges::find_if(kRows, [&](const Row& r) { return EqualsName(format, r.name); });
    if (row == kRows.end())
        return std::nullopt;
    NamedFormat result{row->kind, row->format, row->booleanKind, row->isGeneralNumber};
    switch (row->source)
    {
    case Source::Text:
        break;
    case Source::Standard:
        result.format = FormatOfPattern(locale, IcuNumberPattern::Decimal, kStandardDecimals);
        break;
    case Source::Percent:
        result.format = FormatOfPattern(locale, IcuNumberPattern::Percent, kPercentDecimals);
        break;
    case Source::Currency:
        result.format = FormatOfPattern(locale, IcuNumberPattern::Currency, kDecimalsOfPattern);
        break;
    }
    return result;
}
