#include "brvcore/foundation/AppOptions.h"

#include "brvcore/foundation/LogMessage.h"
#include "brvcore/foundation/LogicException.h"
#include "brvcore/foundation/TFormatString.h"

#include <map>
#include <mutex>
#include <optional>
#include <shared_mutex>
#include <utility>

namespace
{

struct Overrides
{
    std::shared_mutex mutex;
    std::map<TString, AppOptions::Value> values;
};

Overrides& TheOverrides()
{
    static auto* const overrides = new Overrides;
    return *overrides;
}

TString ToText(const AppOptions::Value& value)
{
    if (const bool* const boolean = std::get_if<bool>(&value))
        return *boolean ? u"true" : u"false";
    if (const std::int64_t* const integer = std::get_if<std::int64_t>(&value))
        return TString::FromInt(*integer);
    return std::get<TString>(value);
}

template <class T> std::optional<T> FindOverride(std::u16string_view name)
{
    const std::shared_lock lock(TheOverrides().mutex);
    const auto found = TheOverrides().values.find(TString(name));
    if (found == TheOverrides().values.end())
        return std::nullopt;
    const T* const value = std::get_if<T>(&found->second);
    if (value == nullptr)
        BRV_LOGIC_ERROR(0x7A96F0CE, u"option has the type it is read as");
    return *value;
}

}   // namespace

void AppOptions::Override(const TString& name, Value value)
{
    LogMessage(
        LogSeverity::Info, TFormatString(u"AppOptions::Override: %1 = %2").arg(name).arg(ToText(value)).result());
    const std::unique_lock lock(TheOverrides().mutex);
    TheOverrides().values.insert_or_assign(name, std::move(value));
}

void AppOptions::Reset(const TString& name)
{
    const std::unique_lock lock(TheOverrides().mutex);
    TheOverrides().values.erase(name);
}

bool AppOptions::Get(const Option<bool>& option)
{
    return FindOverride<bool>(option.name).value_or(option.defaultValue);
}

std::int64_t AppOptions::Get(const Option<std::int64_t>& option)
{
    return FindOverride<std::int64_t>(option.name).value_or(option.defaultValue);
}

TString AppOptions::Get(const Option<std::u16string_view>& option)
{
    return FindOverride<TString>(option.name).value_or(TString(option.defaultValue));
}
