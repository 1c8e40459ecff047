#pragma once

#include "brvcore/foundation/BrvExport.h"
#include "brvcore/foundation/DateTime.h"

#include <cstdint>

// Periods of the calendar. The numbers are final.
enum class DatePeriodType : int
{
    Year = 0,
    Quarter = 1,
    Month = 2,
    Week = 3,
    Day = 4,
    Hour = 5,
    Minute = 6,
    Second = 7,
};

// Calendar settings of a host.
class BRV_EXPORT IDateOptions
{
public:
    virtual ~IDateOptions();

    virtual int GetStartOfWeek() const = 0;       // 0 Sunday to 6 Saturday
    virtual int GetFiscalYearStart() const = 0;   // month, 1 to 12
};

// Fixed settings, by default weeks from Sunday and years from January.
class BRV_EXPORT DateOptions : public IDateOptions
{
public:
    explicit DateOptions(int startOfWeek = 0, int fiscalYearStart = 1) noexcept
        : m_startOfWeek(startOfWeek), m_fiscalYearStart(fiscalYearStart)
    {
    }

    int GetStartOfWeek() const override { return m_startOfWeek; }
    int GetFiscalYearStart() const override { return m_fiscalYearStart; }

    // Lives as long as the process; the calendar of objects that were given none.
    static const IDateOptions& Default();

private:
    int m_startOfWeek;
    int m_fiscalYearStart;
};

// The moment moved by a number of periods, forwards or backwards. Years, quarters and months keep the day of the month and
// clamp it to the month's end: 31 January + 1 month is the last of February, and + 2 months is 31 March.
// Throws LogicException when the result leaves years 1 to 9999 (0xC114F6F9 when no date could be moved so far).
BRV_EXPORT DateTime AdjustByDatePeriod(DateTime anchor, DatePeriodType period, std::int64_t count);

// The first moment of the period that holds the given one. Years and quarters follow the fiscal year's start, weeks the
// start of the week; the rest is the calendar's. Throws LogicException when that moment lies before the year 1, 0x9C23D5DA
// for a fiscal year's start and 0xF3ACCE4F for a start of the week outside their ranges.
BRV_EXPORT DateTime FindStartOfPeriod(DateTime moment, DatePeriodType period, const IDateOptions& options);

// Elapsed periods: the greatest k for which `first` advanced by k periods is not after `second`; negative when `second`
// lies before `first`. 31 January to 28 February is one month, to 27 February none. O(1).
BRV_EXPORT std::int64_t DatePeriodDifference(DateTime first, DateTime second, DatePeriodType period);
