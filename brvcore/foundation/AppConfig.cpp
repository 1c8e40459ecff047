#include "brvcore/foundation/AppConfig.h"

#include "brvcore/foundation/LogicException.h"

#include <atomic>
#include <mutex>
#include <set>
#include <shared_mutex>

namespace
{

struct Features
{
    std::shared_mutex mutex;
    std::set<TString> enabled;
};

Features& TheFeatures()
{
    static auto* const features = new Features;
    return *features;
}

std::atomic<AppConfig::HostKind> g_hostKind{AppConfig::HostKind::CommandLine};

}   // namespace

void AppConfig::SetHostKind(HostKind kind) noexcept
{
    g_hostKind.store(kind, std::memory_order_relaxed);
}

AppConfig::HostKind AppConfig::GetHostKind() noexcept
{
    return g_hostKind.load(std::memory_order_relaxed);
}

void AppConfig::SetFeature(const TString& name, bool isEnabled)
{
    BRV_LOGIC_ASSERT(0xC35D218F, !name.IsEmpty());
    const std::unique_lock lock(TheFeatures().mutex);
    if (isEnabled)
        TheFeatures().enabled.insert(name);
    else
        TheFeatures().enabled.erase(name);
}

bool AppConfig::IsFeatureEnabled(const TString& name)
{
    const std::shared_lock lock(TheFeatures().mutex);
    return TheFeatures().enabled.contains(name);
}
