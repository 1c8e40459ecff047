#include "brvcore/string/CustomFormatDateTime.h"

#include "brvcore/string/CustomFormatNumberResources.h"
#include "brvcore/string/DateTimeTokens.h"
#include "brvcore/string/IcuDateSymbols.h"
#include "brvcore/string/IcuLocale.h"

#include <algorithm>
#include <string>
#include <utility>

namespace
{

using Field = DateTimeField;
using Kind = DateTimeToken::Kind;
using Tokens = std::vector<DateTimeToken>;

constexpr std::size_t kReservedLength = 128;

bool HasAny(const Tokens& tokens, std::initializer_list<Kind> kinds)
{
    return std::ranges::any_of(
        tokens, [&](const DateTimeToken& token) { return std::ranges::count(kinds, token.kind) != 0; });
}

// Which year the year's tokens write: see CustomFormat.h.
Field YearField(const Tokens& tokens)
{
    if (HasAny(tokens, {Kind::Day, Kind::DayOfYear, Kind::Month, Kind::MonthName, Kind::GeneralDate, Kind::ShortDate,
                           Kind::LongDate}))
        return Field::Year;
    if (!HasAny(tokens, {Kind::WeekOfYear}))
        return HasAny(tokens, {Kind::DayName, Kind::DayOfWeek}) ? Field::Year : Field::FiscalYear;
    return HasAny(tokens, {Kind::Quarter}) ? Field::Year : Field::YearOfWeek;
}

// Which quarter q writes: the one of the year beside it, so that the two are never of different years.
Field QuarterField(const Tokens& tokens, Field year)
{
    const bool hasYear = HasAny(tokens, {Kind::Year, Kind::GeneralDate, Kind::ShortDate, Kind::LongDate});
    return hasYear && year == Field::Year ? Field::Quarter : Field::FiscalQuarter;
}

// Turns tokens into parts. What is the same for the whole format is decided first.
class PartsBuilder
{
public:
    PartsBuilder(const Tokens& tokens, const IcuDateSymbols& symbols, unsigned locale)
        : m_tokens(tokens), m_symbols(symbols), m_locale(locale), m_year(YearField(tokens)),
          m_quarter(QuarterField(tokens, m_year)),
          m_hour(HasAny(tokens, {Kind::DayHalf, Kind::LocaleDayHalf}) ? Field::Hour12 : Field::Hour24),
          m_isInDate(HasAny(tokens, {Kind::Day}))
    {
    }

    DateTimeParts Build()
    {
        m_parts.reserve(m_tokens.size());
        for (const DateTimeToken& token : m_tokens)
            Append(token);
        return std::move(m_parts);
    }

private:
    void Append(const DateTimeToken& token)
    {
        switch (token.kind)
        {
        case Kind::Text:
            return AppendText(token.text);
        case Kind::DateSeparator:
            return AppendText(m_symbols.dateSeparator);
        case Kind::TimeSeparator:
            return AppendText(m_symbols.timeSeparator);
        case Kind::DayHalf:
            m_parts.push_back({Field::DayHalfText, 1, token.text, token.afternoon});
            return;
        case Kind::Fraction:
            AppendText(DecimalSeparator());
            m_parts.push_back({Field::Fraction, token.length, {}, {}});
            return;
        default:
            m_parts.push_back({FieldOf(token.kind), token.kind == Kind::WeekOfYear ? 1 : token.length, {}, {}});
            return;
        }
    }

    Field FieldOf(Kind kind) const
    {
        switch (kind)
        {
        case Kind::GeneralDate:
            return Field::GeneralDate;
        case Kind::ShortDate:
            return Field::ShortDate;
        case Kind::LongDate:
            return Field::LongDate;
        case Kind::LongTime:
            return Field::MediumTime;
        case Kind::Day:
            return Field::Day;
        case Kind::DayName:
            return m_isInDate ? Field::DayNameInDate : Field::DayNameAlone;
        case Kind::DayOfWeek:
            return Field::DayOfWeek;
        case Kind::WeekOfYear:
            return Field::WeekOfYear;
        case Kind::Month:
            return Field::Month;
        case Kind::MonthName:
            return m_isInDate ? Field::MonthInDate : Field::MonthAlone;
        case Kind::Quarter:
            return m_quarter;
        case Kind::DayOfYear:
            return Field::DayOfYear;
        case Kind::Year:
            return m_year;
        case Kind::Hour:
            return m_hour;
        case Kind::Minute:
            return Field::Minute;
        case Kind::Second:
            return Field::Second;
        case Kind::LocaleDayHalf:
            return Field::DayHalf;
        default:
            return Field::Text;   // the other kinds have no single field
        }
    }

    // Parts that touch are joined, so that a rendering has less to walk.
    void AppendText(const std::u16string& text)
    {
        if (m_parts.empty() || m_parts.back().field != Field::Text)
            m_parts.emplace_back();
        m_parts.back().text += text;
    }

    // The one of numbers; looked up for the first fraction.
    const std::u16string& DecimalSeparator()
    {
        if (m_decimalSeparator.empty())
            m_decimalSeparator = std::u16string(CustomFormatNumberResources::GetPooled(m_locale)->GetSymbol(
                CustomFormatNumberResources::Symbol::Decimal));
        return m_decimalSeparator;
    }

    const Tokens& m_tokens;
    const IcuDateSymbols& m_symbols;
    unsigned m_locale;
    Field m_year;
    Field m_quarter;
    Field m_hour;
    bool m_isInDate;
    std::u16string m_decimalSeparator;
    DateTimeParts m_parts;
};

// The caller's week settings, else the user's, else the locale's.
CalendarCustoms CustomsOf(
    const IcuDateSymbols& symbols, SOWValue startOfWeek, FirstWeekBehaviour firstWeek, FYSValues fiscalYearStart)
{
    if (startOfWeek == SOWValue::SystemDefault || firstWeek == FirstWeekBehaviour::SystemDefault)
    {
        const UserLocaleSettings settings = GetUserLocaleSettings();
        startOfWeek = startOfWeek == SOWValue::SystemDefault ? settings.startOfWeek : startOfWeek;
        firstWeek = firstWeek == FirstWeekBehaviour::SystemDefault ? settings.firstWeek : firstWeek;
    }
    CalendarCustoms customs{symbols.firstDayOfWeek, symbols.minimalDaysInFirstWeek, 1};
    if (SOWValue::Sunday <= startOfWeek && startOfWeek <= SOWValue::Saturday)
        customs.firstDayOfWeek = static_cast<int>(startOfWeek);
    switch (firstWeek)
    {
    case FirstWeekBehaviour::SystemDefault:
        break;
    case FirstWeekBehaviour::ContainsJanuary1:
        customs.minimalDaysInFirstWeek = 1;
        break;
    case FirstWeekBehaviour::FirstFourDays:
        customs.minimalDaysInFirstWeek = 4;
        break;
    case FirstWeekBehaviour::FirstFullWeek:
        customs.minimalDaysInFirstWeek = 7;
        break;
    }
    if (FYSValues::January <= fiscalYearStart && fiscalYearStart <= FYSValues::December)
        customs.firstMonthOfFiscalYear = static_cast<int>(fiscalYearStart);
    return customs;
}

}   // namespace

CustomFormatDateTime::CustomFormatDateTime(const TString& format, unsigned locale, SOWValue startOfWeek,
    FirstWeekBehaviour firstWeek, FYSValues fiscalYearStart)
    : m_symbols(GetIcuDateSymbols(IcuLocaleName(locale))),
      m_customs(CustomsOf(*m_symbols, startOfWeek, firstWeek, fiscalYearStart)),
      m_parts(PartsBuilder(TokenizeDateTime(format), *m_symbols, locale).Build())
{
}

TString CustomFormatDateTime::Format(const DateTime& value) const
{
    std::u16string text;
    text.reserve(kReservedLength);
    RenderDateTime(m_parts, value, *m_symbols, m_customs, text);
    return text;
}
