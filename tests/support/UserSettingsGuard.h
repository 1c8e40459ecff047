#pragma once

#include "brvcore/string/UserLocaleSettings.h"

#include <memory>
#include <utility>

// Installs a user's settings, and the former ones again at the end of its scope.
class SettingsGuard
{
public:
    explicit SettingsGuard(UserLocaleSettings settings) : m_before(SetUserLocaleSettings(Host(std::move(settings)))) {}
    ~SettingsGuard() { SetUserLocaleSettings(m_before); }
    SettingsGuard(const SettingsGuard&) = delete;
    SettingsGuard& operator=(const SettingsGuard&) = delete;

private:
    struct Settings : IUserLocaleSettings
    {
        explicit Settings(UserLocaleSettings settings) : m_settings(std::move(settings)) {}
        UserLocaleSettings GetSettings() const override { return m_settings; }

        UserLocaleSettings m_settings;
    };
    static std::shared_ptr<const IUserLocaleSettings> Host(UserLocaleSettings settings)
    {
        return std::make_shared<Settings>(std::move(settings));
    }

    std::shared_ptr<const IUserLocaleSettings> m_before;
};
