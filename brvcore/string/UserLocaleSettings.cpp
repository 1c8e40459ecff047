#include "brvcore/string/UserLocaleSettings.h"

#include "brvcore/foundation/HostSlot.h"
#include "brvcore/string/CustomFormatNumberResources.h"
#include "brvcore/string/IcuLocale.h"

namespace
{

HostSlot<const IUserLocaleSettings>& Settings()
{
    static auto* const settings = new HostSlot<const IUserLocaleSettings>;   // outlives static objects that format
    return *settings;
}

UserLocaleSettings SettingsOfProcess()
{
    const std::string localeName = IcuDefaultLocaleName();
    UserLocaleSettings result;
    result.localeTag = IcuTagOfLocaleName(localeName);
    const CustomFormatNumberResources resources = CustomFormatNumberResources::OfLocaleName(localeName);
    result.groupingSeparator = resources.GetSymbol(CustomFormatNumberResources::Symbol::Grouping);
    result.decimalSeparator = resources.GetSymbol(CustomFormatNumberResources::Symbol::Decimal);
    return result;
}

}   // namespace

IUserLocaleSettings::~IUserLocaleSettings() = default;

std::shared_ptr<const IUserLocaleSettings> SetUserLocaleSettings(std::shared_ptr<const IUserLocaleSettings> settings)
{
    std::shared_ptr<const IUserLocaleSettings> before = Settings().Exchange(std::move(settings));
    CustomFormatNumberResources::RenewPooled(kUserDefaultLocale);
    return before;
}

UserLocaleSettings GetUserLocaleSettings()
{
    const std::shared_ptr<const IUserLocaleSettings> settings = Settings().Get();
    if (settings != nullptr)
        return settings->GetSettings();
    static const UserLocaleSettings ofProcess = SettingsOfProcess();
    return ofProcess;
}

std::optional<unsigned> LocaleIdentifierFromTag(std::u16string_view tag)
{
    return IcuIdentifierOfLocaleName(IcuLocaleNameOfTag(tag));
}

TString TagFromLocaleIdentifier(unsigned locale)
{
    return IcuTagOfLocaleName(IcuLocaleName(locale));
}
