#include "brvcore/string/IcuDateSymbols.h"

#include "brvcore/string/DatePattern.h"
#include "brvcore/string/IcuLocale.h"

#include <algorithm>
#include <mutex>
#include <optional>
#include <unordered_map>
#include <utility>

#include <unicode/datefmt.h>
#include <unicode/dtfmtsym.h>
#include <unicode/gregocal.h>
#include <unicode/locid.h>
#include <unicode/smpdtfmt.h>
#include <unicode/timezone.h>
#include <unicode/unistr.h>

namespace
{

using icu::DateFormat;
using icu::DateFormatSymbols;

constexpr std::array kForms = {DateFormatSymbols::FORMAT, DateFormatSymbols::STANDALONE};   // by DateNameForm
constexpr std::array kWidths = {DateFormatSymbols::ABBREVIATED, DateFormatSymbols::WIDE};   // by DateNameWidth

icu::Locale GregorianLocale(const std::string& localeName)
{
    icu::Locale locale(localeName.empty() ? "en_US" : localeName.c_str());
    UErrorCode status = U_ZERO_ERROR;
    locale.setKeywordValue("calendar", "gregorian", status);   // a locale that cannot take it keeps its own
    return locale;
}

std::u16string TextOf(const icu::UnicodeString& text)
{
    return {text.getBuffer(), static_cast<std::size_t>(text.length())};
}

// The parts of a formatter's pattern; the formatter is released. Those of the given one, in ISO 8601's order, when there is no
// formatter or it has a field that is not known here.
DateTimeParts PartsOf(DateFormat* format, std::u16string_view otherwise)
{
    const std::unique_ptr<DateFormat> owned(format);
    const auto* const simple = dynamic_cast<const icu::SimpleDateFormat*>(format);
    DateTimeParts parts;
    if (simple != nullptr)
    {
        icu::UnicodeString pattern;
        parts = PartsOfPattern(TextOf(simple->toPattern(pattern)));
    }
    return parts.empty() ? PartsOfPattern(otherwise) : parts;
}

// Copies a list of names; what the list does not have stays empty.
template <std::size_t count>
void CopyNames(
    const icu::UnicodeString* names, std::int32_t length, std::int32_t from, std::array<std::u16string, count>& to)
{
    for (std::size_t i = 0; i < count && from + static_cast<std::int32_t>(i) < length; ++i)
        to[i] = TextOf(names[from + static_cast<std::int32_t>(i)]);
}

void ReadNames(const icu::Locale& locale, IcuDateSymbols& result)
{
    UErrorCode status = U_ZERO_ERROR;
    const DateFormatSymbols symbols(locale, status);
    std::int32_t length = 0;
    for (std::size_t form = 0; form < kForms.size(); ++form)
        for (std::size_t width = 0; width < kWidths.size(); ++width)
        {
            const icu::UnicodeString* names = symbols.getMonths(length, kForms[form], kWidths[width]);
            CopyNames(names, length, 0, result.months[form][width]);
            names = symbols.getWeekdays(length, kForms[form], kWidths[width]);
            CopyNames(names, length, UCAL_SUNDAY, result.days[form][width]);
        }
    const icu::UnicodeString* const halves = symbols.getAmPmStrings(length);
    CopyNames(halves, length, 0, result.dayHalves);
    const icu::UnicodeString* const eras = symbols.getEras(length);
    if (icu::GregorianCalendar::AD < length)
        result.era = TextOf(eras[icu::GregorianCalendar::AD]);
}

// The library has no list of these, but writes them. In the locales whose patterns use them (those of traditional Chinese)
// they depend on the hour alone: midnight and noon sharp get no words of their own.
void ReadDayPeriods(const icu::Locale& locale, IcuDateSymbols& result)
{
    constexpr double kMillisecondsPerHour = 3'600'000;
    UErrorCode status = U_ZERO_ERROR;
    icu::SimpleDateFormat format(icu::UnicodeString(u"B"), locale, status);
    if (U_FAILURE(status))
        return;
    format.setTimeZone(*icu::TimeZone::getGMT());
    for (std::size_t hour = 0; hour < result.dayPeriods.size(); ++hour)
    {
        icu::UnicodeString text;
        constexpr double kHalf = 0.5;   // past the hour
        result.dayPeriods[hour] =
            TextOf(format.format((static_cast<double>(hour) + kHalf) * kMillisecondsPerHour, text));
    }
}

void ReadWeekCustoms(const icu::Locale& locale, IcuDateSymbols& result)
{
    UErrorCode status = U_ZERO_ERROR;
    const std::unique_ptr<icu::Calendar> calendar(icu::Calendar::createInstance(locale, status));
    if (U_FAILURE(status) || calendar == nullptr)
        return;
    result.minimalDaysInFirstWeek = calendar->getMinimalDaysInFirstWeek();
    result.firstDayOfWeek = calendar->getFirstDayOfWeek(status);
}

void ReadPatterns(const icu::Locale& locale, IcuDateSymbols& result)
{
    using enum DateTimeField;
    result.shortDate = PartsOf(DateFormat::createDateInstance(DateFormat::kShort, locale), u"y-MM-dd");
    result.longDate = PartsOf(DateFormat::createDateInstance(DateFormat::kLong, locale), u"y-MM-dd");
    result.mediumTime = PartsOf(DateFormat::createTimeInstance(DateFormat::kMedium, locale), u"HH:mm:ss");
    result.dateAndTime = PartsOf(
        DateFormat::createDateTimeInstance(DateFormat::kShort, DateFormat::kMedium, locale), u"y-MM-dd HH:mm:ss");
    result.dateSeparator = SeparatorInPattern(result.shortDate, {Year, Month, MonthInDate, Day}, u"/");
    result.timeSeparator = SeparatorInPattern(
        PartsOf(DateFormat::createTimeInstance(DateFormat::kShort, locale), u"HH:mm"), {Hour24, Hour12, Minute}, u":");
}

std::shared_ptr<const IcuDateSymbols> BuildSymbols(const std::string& localeName)
{
    const icu::Locale locale = GregorianLocale(localeName);
    auto result = std::make_shared<IcuDateSymbols>();
    const std::optional<NumberSymbols> numbers = FindIcuNumberSymbols(localeName);
    for (std::size_t digit = 0; digit < result->digits.size(); ++digit)
        result->digits[digit] =
            numbers ? std::u16string((*numbers)[digit].View()) : std::u16string(1, static_cast<char16_t>(u'0' + digit));
    ReadNames(locale, *result);
    ReadDayPeriods(locale, *result);
    ReadWeekCustoms(locale, *result);
    ReadPatterns(locale, *result);
    return result;
}

}   // namespace

std::shared_ptr<const IcuDateSymbols> GetIcuDateSymbols(const std::string& localeName)
{
    struct Cache
    {
        std::mutex mutex;
        std::unordered_map<std::string, std::shared_ptr<const IcuDateSymbols>> symbols;
    };
    static auto* const cache = new Cache;   // outlives static objects that format
    {
        const std::lock_guard lock(cache->mutex);
        if (const auto found = cache->symbols.find(localeName); found != cache->symbols.end())
            return found->second;
    }
    std::shared_ptr<const IcuDateSymbols> built = BuildSymbols(localeName);   // others need not wait for it
    const std::lock_guard lock(cache->mutex);
    return cache->symbols.try_emplace(localeName, std::move(built)).first->second;
}
