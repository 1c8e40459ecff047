#pragma once

#include "brvcore/foundation/DateTime.h"
#include "brvcore/foundation/TString.h"
#include "brvcore/string/DateTimeFields.h"
#include "brvcore/string/UserLocaleSettings.h"

#include <memory>

struct IcuDateSymbols;

// The date-time half of CustomFormat, whose header lists the tokens and the rules of years, quarters and weeks: the tokens
// of a format translated into the fields and words of a locale.
class CustomFormatDateTime
{
public:
    // Compiles a format that is not empty and whose names have been replaced; any text is a format. O(length), and a
    // millisecond for the first format of a locale. Week settings left at SystemDefault are the user's, else the locale's.
    CustomFormatDateTime(const TString& format, unsigned locale, SOWValue startOfWeek, FirstWeekBehaviour firstWeek,
        FYSValues fiscalYearStart);

    // O(length of the text). May be called by several threads at once.
    TString Format(const DateTime& value) const;

private:
    std::shared_ptr<const IcuDateSymbols> m_symbols;
    CalendarCustoms m_customs;
    DateTimeParts m_parts;
};
