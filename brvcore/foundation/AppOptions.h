#pragma once

#include "brvcore/foundation/BrvExport.h"
#include "brvcore/foundation/TString.h"

#include <cstdint>
#include <string_view>
#include <variant>

// Named options of the application with defaults, which a host overrides at start or while it runs. Safe from any thread.
namespace AppOptions
{

using Value = std::variant<bool, std::int64_t, TString>;

// An option as the code that reads it names it: a constant with static storage.
template <class T> struct Option
{
    std::u16string_view name;
    T defaultValue;
};

// milliseconds that one HTTP transfer and the opening of its connection may take
inline constexpr Option<std::int64_t> ConnectionOperationTimeout{u"ConnectionOperationTimeout", 900'000};
inline constexpr Option<std::int64_t> ConnectionConnectTimeout{u"ConnectionConnectTimeout", 60'000};

// seconds that a query result stays in the external cache when its workbook does not say, and the most minutes that it may
// stay on the online server (below 1: a day)
inline constexpr Option<std::int64_t> ExternalCacheRedisAlwaysSetExSec{u"ExternalCacheRedisAlwaysSetExSec", 86'400};
inline constexpr Option<std::int64_t> ExternalCacheMaxDataLifetimeMinutes{u"ExternalCacheMaxDataLifetimeMinutes", 0};

// whether a folder sweep logs each entry above the size (bytes) that it is about to erase
inline constexpr Option<bool> LogLargeDeletes{u"LogLargeDeletes", false};
inline constexpr Option<std::int64_t> LogLargeDeletesSizeThresholdBytes{
    u"LogLargeDeletesSizeThresholdBytes", 100 * 1024 * 1024};

// Sets an option, and logs the override at level Info.
BRV_EXPORT void Override(const TString& name, Value value);
BRV_EXPORT void Reset(const TString& name);

// The option's value: the override, else the default. Throws LogicException 0x7A96F0CE "option has the type it is read as"
// when it was overridden with another type.
BRV_EXPORT bool Get(const Option<bool>& option);
BRV_EXPORT std::int64_t Get(const Option<std::int64_t>& option);
BRV_EXPORT TString Get(const Option<std::u16string_view>& option);

}   // namespace AppOptions
