#include "brvcore/string/DateTimeFields.h"

#include "brvcore/foundation/CalendarTime.h"
#include "brvcore/string/IcuDateSymbols.h"

#include <array>
#include <chrono>

namespace
{

using Field = DateTimeField;

constexpr int kWideName = 4;
constexpr int kTickDigits = 7;   // of a second
constexpr int kMonthsInYear = 12;
constexpr int kMonthsInQuarter = 3;
constexpr int kDaysInWeek = 7;
constexpr int kNoon = 12;

struct WeekOfYear
{
    int year;
    int week;
};

// The year that holds enough of the week's days owns it: the one of its last day but (minimal days - 1).
WeekOfYear FindWeekOfYear(std::chrono::sys_days day, int dayOfWeek, int minimalDays)
{
    const std::chrono::sys_days decisive = day + std::chrono::days(kDaysInWeek - minimalDays - (dayOfWeek - 1));
    const std::chrono::year year = std::chrono::year_month_day(decisive).year();
    const auto daysBefore = (decisive - std::chrono::sys_days(year / 1 / 1)).count();
    return {static_cast<int>(year), static_cast<int>(daysBefore) / kDaysInWeek + 1};
}

class Renderer
{
public:
    Renderer(const DateTime& value, const IcuDateSymbols& symbols, const CalendarCustoms& customs, std::u16string& text)
        : m_value(value), m_fields(value.GetFields()), m_symbols(symbols), m_customs(customs), m_text(text)
    {
    }

    void Append(const DateTimeParts& parts)
    {
        for (const DateTimePart& part : parts)
            Append(part);
    }

    void Append(const DateTimePart& part)
    {
        switch (part.field)
        {
        case Field::Text:
            m_text += part.text;
            break;
        case Field::DayHalfText:
            m_text += IsAfternoon() ? part.afternoon : part.text;
            break;
        case Field::GeneralDate:
            Append(IsMidnight() ? m_symbols.shortDate : m_symbols.dateAndTime);
            break;
        case Field::ShortDate:
            Append(m_symbols.shortDate);
            break;
        case Field::LongDate:
            Append(m_symbols.longDate);
            break;
        case Field::MediumTime:
            Append(m_symbols.mediumTime);
            break;
        case Field::Era:
            m_text += m_symbols.era;
            break;
        case Field::Year:
            Year(m_fields.year, part.width);
            break;
        case Field::YearOfWeek:
            Year(Week().year, part.width);
            break;
        case Field::FiscalYear:
            Year(FiscalYear(), part.width);
            break;
        case Field::Quarter:
            Number((m_fields.month - 1) / kMonthsInQuarter + 1, part.width);
            break;
        case Field::FiscalQuarter:
            Number(MonthOfFiscalYear() / kMonthsInQuarter + 1, part.width);
            break;
        case Field::Month:
            Number(m_fields.month, part.width);
            break;
        case Field::MonthInDate:
            Name(m_symbols.months, DateNameForm::InDate, part.width, m_fields.month - 1);
            break;
        case Field::MonthAlone:
            Name(m_symbols.months, DateNameForm::Standalone, part.width, m_fields.month - 1);
            break;
        case Field::WeekOfYear:
            Number(Week().week, part.width);
            break;
        case Field::DayOfYear:
            Number(static_cast<int>((Day() - FirstOfYear()).count()) + 1, part.width);
            break;
        case Field::Day:
            Number(m_fields.day, part.width);
            break;
        case Field::DayOfWeek:
            Number(DayOfWeek(), part.width);
            break;
        case Field::DayNameInDate:
            Name(m_symbols.days, DateNameForm::InDate, part.width, m_value.GetDayOfWeek());
            break;
        case Field::DayNameAlone:
            Name(m_symbols.days, DateNameForm::Standalone, part.width, m_value.GetDayOfWeek());
            break;
        case Field::Hour24:
            Number(m_fields.hour, part.width);
            break;
        case Field::Hour12:
            Number((m_fields.hour + kNoon - 1) % kNoon + 1, part.width);
            break;
        case Field::Minute:
            Number(m_fields.minute, part.width);
            break;
        case Field::Second:
            Number(m_fields.second, part.width);
            break;
        case Field::Fraction:
            Fraction(part.width);
            break;
        case Field::DayHalf:
            m_text += m_symbols.dayHalves[IsAfternoon() ? 1 : 0];
            break;
        case Field::DayPeriod:
            m_text += m_symbols.dayPeriods[static_cast<std::size_t>(m_fields.hour)];
            break;
        }
    }

private:
    bool IsAfternoon() const { return m_fields.hour >= kNoon; }
    bool IsMidnight() const   // to the tick
    {
        return m_fields.hour == 0 && m_fields.minute == 0 && m_fields.second == 0 && m_fields.ticks == 0;
    }
    int MonthOfFiscalYear() const   // from 0
    {
        return (m_fields.month - m_customs.firstMonthOfFiscalYear + kMonthsInYear) % kMonthsInYear;
    }
    int FiscalYear() const
    {
        const int first = m_customs.firstMonthOfFiscalYear;
        return m_fields.year + (first > 1 && m_fields.month >= first ? 1 : 0);
    }
    std::chrono::sys_days Day() const { return CalendarTime::Split(m_value).day; }
    std::chrono::sys_days FirstOfYear() const { return std::chrono::year{m_fields.year} / 1 / 1; }
    int DayOfWeek() const
    {
        return (m_value.GetDayOfWeek() + 1 - m_customs.firstDayOfWeek + kDaysInWeek) % kDaysInWeek + 1;
    }
    WeekOfYear Week() const { return FindWeekOfYear(Day(), DayOfWeek(), m_customs.minimalDaysInFirstWeek); }

    template <std::size_t count>
    void Name(const IcuDateSymbols::Names<count>& names, DateNameForm form, int width, int index)
    {
        const auto nameWidth = width >= kWideName ? DateNameWidth::Wide : DateNameWidth::Abbreviated;
        m_text += IcuDateSymbols::Of(names, form, nameWidth)[static_cast<std::size_t>(index)];
    }

    void Year(int year, int width)
    {
        constexpr int kTwoDigits = 2;
        constexpr int kCentury = 100;
        Number(width == kTwoDigits ? year % kCentury : year, width);
    }

    void Fraction(int digits)
    {
        int fraction = m_fields.ticks;
        for (int dropped = kTickDigits - digits; dropped > 0; --dropped)
            fraction /= 10;
        Number(fraction, digits);
    }

    // Not negative; the years next to the calendar's ends are 0 and 10000.
    void Number(int number, int width)
    {
        constexpr std::size_t kMostDigits = 10;
        std::array<std::uint8_t, kMostDigits> digits;
        std::size_t count = 0;
        for (; number != 0; number /= 10)
            digits[count++] = static_cast<std::uint8_t>(number % 10);
        for (int missing = width - static_cast<int>(count); missing > 0; --missing)
            m_text += m_symbols.digits[0];
        while (count > 0)
            m_text += m_symbols.digits[digits[--count]];
    }

    const DateTime& m_value;
    const DateTime::Fields m_fields;
    const IcuDateSymbols& m_symbols;
    const CalendarCustoms& m_customs;
    std::u16string& m_text;
};

}   // namespace

void RenderDateTime(const DateTimeParts& parts, const DateTime& value, const IcuDateSymbols& symbols,
    const CalendarCustoms& customs, std::u16string& text)
{
    Renderer(value, symbols, customs, text).Append(parts);
}
