#pragma once

#include "brvcore/foundation/BrvExport.h"
#include "brvcore/foundation/TString.h"

#include <memory>
#include <optional>
#include <string_view>

// First day of a week.
enum class SOWValue : int
{
    SystemDefault = 0,   // the user's setting
    Sunday = 1,
    Monday = 2,
    Tuesday = 3,
    Wednesday = 4,
    Thursday = 5,
    Friday = 6,
    Saturday = 7,
};

// Which week is the first of a year.
enum class FirstWeekBehaviour : int
{
    SystemDefault = 0,      // the user's setting
    ContainsJanuary1 = 1,   // the one that holds 1 January
    FirstFourDays = 2,      // the first with at least four days in the year
    FirstFullWeek = 3,      // the first that lies in the year whole
};

// First month of a fiscal year.
enum class FYSValues : int
{
    January = 1,
    February = 2,
    March = 3,
    April = 4,
    May = 5,
    June = 6,
    July = 7,
    August = 8,
    September = 9,
    October = 10,
    November = 11,
    December = 12,
};

// The identifier that stands for "the locale of the user". Callers may write 0 for it, or 2048, the default of the system,
// which is taken for the same. The invariant identifier, 127, is American English.
constexpr unsigned kUserDefaultLocale = 1024;
constexpr unsigned kSystemDefaultLocale = 2048;
constexpr bool IsUserLocale(unsigned locale) noexcept
{
    return locale == 0 || locale == kUserDefaultLocale || locale == kSystemDefaultLocale;
}

// What the user has set up on the machine. A week setting left at SystemDefault is the one of the locale.
struct UserLocaleSettings
{
    TString localeTag;           // BCP 47, "de-CH"
    TString groupingSeparator;   // between thousands; empty for none
    TString decimalSeparator;
    SOWValue startOfWeek = SOWValue::SystemDefault;
    FirstWeekBehaviour firstWeek = FirstWeekBehaviour::SystemDefault;
};

// Where the settings come from. A host that knows what its user chose in the operating system installs one.
class BRV_EXPORT IUserLocaleSettings
{
public:
    virtual ~IUserLocaleSettings();

    // Called on the thread that compiles a format for the user's locale, on several at once.
    virtual UserLocaleSettings GetSettings() const = 0;
};

// Installs the process's settings and returns the ones before them; null (the state at the start) means the locale that the
// process runs in at the first use, with its own separators (American English where that is "C" or "POSIX"). May be called while other threads format: a format that is
// compiled keeps what it was compiled with.
BRV_EXPORT std::shared_ptr<const IUserLocaleSettings> SetUserLocaleSettings(
    std::shared_ptr<const IUserLocaleSettings> settings);

// The settings in force.
BRV_EXPORT UserLocaleSettings GetUserLocaleSettings();

// The numeric identifier of a language tag, 1031 for "de-DE" (and for "de_DE"); nothing for a tag that has none, or whose
// locale has no data here.
BRV_EXPORT std::optional<unsigned> LocaleIdentifierFromTag(std::u16string_view tag);
// The language tag of a numeric identifier, "de-DE" for 1031, of the user's locale for 0, 1024 and 2048; empty for an
// unknown identifier and for one whose locale has no data here.
BRV_EXPORT TString TagFromLocaleIdentifier(unsigned locale);
