#include "brvcore/foundation/AppConfig.h"

#include "brvcore/foundation/LogicException.h"

#include <atomic>
#include <mutex>
#include <set>
#include <shared_mutex>

namespace
{

// Never destroyed: static objects may ask while the process ends.
struct Settings
{
    std::shared_mutex mutex;
    std::set<TString> enabledFeatures;
    std::set<std::uint32_t> flagsThatAreOn;
    TString productEdition = u"standard";
    TString oemName;
    TString defaultLanguage = u"en";
};

Settings& TheSettings()
{
    static auto* const settings = new Settings;
    return *settings;
}

void Set(TString Settings::*text, const TString& value)
{
    const std::unique_lock lock(TheSettings().mutex);
    TheSettings().*text = value;
}

TString Get(TString Settings::*text)
{
    const std::shared_lock lock(TheSettings().mutex);
    return TheSettings().*text;
}

std::atomic<AppConfig::HostKind> g_hostKind{AppConfig::HostKind::CommandLine};
std::atomic<bool> g_isLegacyHttpClient{false};

template <class Key> void Switch(std::set<Key>& enabled, const Key& key, bool isOn)
{
    const std::unique_lock lock(TheSettings().mutex);
    if (isOn)
        enabled.insert(key);
    else
        enabled.erase(key);
}

template <class Key> bool IsOn(const std::set<Key>& enabled, const Key& key)
{
    const std::shared_lock lock(TheSettings().mutex);
    return enabled.contains(key);
}

}   // namespace

void AppConfig::SetHostKind(HostKind kind) noexcept
{
    g_hostKind.store(kind, std::memory_order_relaxed);
}

AppConfig::HostKind AppConfig::GetHostKind() noexcept
{
    return g_hostKind.load(std::memory_order_relaxed);
}

bool AppConfig::GetOnlineServer() noexcept
{
    return GetHostKind() == HostKind::HostedService;
}

void AppConfig::SetProductEdition(const TString& edition)
{
    Set(&Settings::productEdition, edition);
}

TString AppConfig::GetProductEdition()
{
    return Get(&Settings::productEdition);
}

void AppConfig::SetOemName(const TString& name)
{
    Set(&Settings::oemName, name);
}

TString AppConfig::GetOemName()
{
    return Get(&Settings::oemName);
}

void AppConfig::SetDefaultLanguage(const TString& tag)
{
    Set(&Settings::defaultLanguage, tag);
}

TString AppConfig::GetDefaultLanguage()
{
    return Get(&Settings::defaultLanguage);
}

void AppConfig::SetLegacyHttpClient(bool isEnabled) noexcept
{
    g_isLegacyHttpClient.store(isEnabled, std::memory_order_relaxed);
}

bool AppConfig::IsLegacyHttpClient() noexcept
{
    return g_isLegacyHttpClient.load(std::memory_order_relaxed);
}

void AppConfig::SetFeature(const TString& name, bool isEnabled)
{
    BRV_LOGIC_ASSERT(0xC35D218F, !name.IsEmpty());
    Switch(TheSettings().enabledFeatures, name, isEnabled);
}

bool AppConfig::IsFeatureEnabled(const TString& name)
{
    return IsOn(TheSettings().enabledFeatures, name);
}

void AppConfig::SetFeatureFlag(std::uint32_t identifier, bool isOn)
{
    Switch(TheSettings().flagsThatAreOn, identifier, isOn);
}

bool AppConfig::IsFeatureFlagOn(std::uint32_t identifier)
{
    return IsOn(TheSettings().flagsThatAreOn, identifier);
}
