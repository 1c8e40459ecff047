#include "brvcore/runtime/CacheFreshnessDeterminer.h"

#include "brvcore/foundation/AppConfig.h"
#include "brvcore/foundation/AppOptions.h"
#include "brvcore/foundation/Clock.h"
#include "brvcore/foundation/LogMessage.h"
#include "brvcore/foundation/TFormatString.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace
{

constexpr std::uint32_t kCapExternalCacheLifetime = 0xFC275D5C;   // feature flag
constexpr std::int64_t kSecondsPerMinute = 60;
constexpr std::int64_t kSecondsPerDay = 86'400;

// "2021-03-04 05:06:07.250", cut to the millisecond.
TString FormatTimestamp(DateTime moment)
{
    constexpr int kTicksPerMillisecond = DateTimeSpan::kTicksPerSecond / 1000;
    const DateTime::Fields fields = moment.GetFields();
    return TFormatString(u"%1-%2-%3 %4:%5:%6.%7")
        .arg(fields.year, 4, 10, u'0')
        .arg(fields.month, 2, 10, u'0')
        .arg(fields.day, 2, 10, u'0')
        .arg(fields.hour, 2, 10, u'0')
        .arg(fields.minute, 2, 10, u'0')
        .arg(fields.second, 2, 10, u'0')
        .arg(fields.ticks / kTicksPerMillisecond, 3, 10, u'0')
        .result();
}

std::int64_t MaxExternalLifetimeSeconds()
{
    const std::int64_t minutes = AppOptions::Get(AppOptions::ExternalCacheMaxDataLifetimeMinutes);
    if (minutes < 1)
        return kSecondsPerDay;
    return std::min(minutes, std::numeric_limits<std::int64_t>::max() / kSecondsPerMinute) * kSecondsPerMinute;
}

}   // namespace

ICacheFreshnessDeterminer::~ICacheFreshnessDeterminer() = default;

std::unique_ptr<CacheFreshnessDeterminer> ICacheFreshnessDeterminer::Build(
    std::shared_ptr<QueryCacheTsObservable> observable)
{
    return std::make_unique<CacheFreshnessDeterminer>(std::move(observable));
}

DateTime ICacheFreshnessDeterminer::CalculateLowestQueryCacheTS(DateTimeSpan offset)
{
    if (offset <= UseCacheIfAvailable)
        return DateTime::OLEEpoch;
    const DateTime now = Clock::UniversalNow();
    return offset > DateTimeSpan() ? now - offset : now;
}

DateTime ICacheFreshnessDeterminer::FindLowestQueryCacheTimestamp(DateTime lowest, std::optional<DateTime> newest)
{
    return newest ? std::max(lowest, *newest) : lowest;
}

std::optional<DateTime> ICacheFreshnessDeterminer::FindNewestExtractTimestamp(
    const ExtractTimestamps& extractTimestamps)
{
    const auto newest = std::ranges::max_element(extractTimestamps, {}, &ExtractTimestamps::value_type::second);
    return newest == extractTimestamps.end() ? std::nullopt : std::optional(newest->second);
}

CacheFreshnessDeterminer::CacheFreshnessDeterminer(std::shared_ptr<QueryCacheTsObservable> observable)
    : m_observable(std::move(observable))
{
}

DateTime CacheFreshnessDeterminer::GetLowestQueryCacheTS() const
{
    return FindLowestQueryCacheTimestamp(m_lowest, m_newestExtract);
}

void CacheFreshnessDeterminer::SetLowestQueryCacheTS(
    DateTime lowest, const ExtractTimestamps& extractTimestamps, bool notify)
{
    const DateTime before = GetLowestQueryCacheTS();
    if (&extractTimestamps != &m_extractTimestamps)
        m_extractTimestamps = ExtractTimestamps(extractTimestamps);   // copied whole before anything changes
    m_lowest = lowest;
    m_newestExtract = FindNewestExtractTimestamp(m_extractTimestamps);
    if (!notify || GetLowestQueryCacheTS() <= before)
        return;
    // An observer may end this object, which is not touched any more, and with it the last owner of the observable.
    if (const std::shared_ptr<QueryCacheTsObservable> observable = m_observable)
        observable->Notify(MakeRefCnt<QueryCacheTsMsg>());
}

void CacheFreshnessDeterminer::SetLowestQueryCacheTSOffset(DateTimeSpan offset, bool notify)
{
    SetLowestQueryCacheTS(CalculateLowestQueryCacheTS(offset), m_extractTimestamps, notify);
}

DateTime CacheFreshnessDeterminer::GetLowestQueryCacheTimeForDatasources(const std::vector<TString>& names) const
{
    if (!m_newestExtract || m_lowest > *m_newestExtract)
        return m_lowest;
    DateTime result = m_lowest;
    const TString* newestName = nullptr;
    for (const TString& name : names)
        if (const std::optional<DateTime> timestamp = GetExtractTimestamp(name); timestamp && result < *timestamp)
        {
            result = *timestamp;
            newestName = &name;
        }
    if (newestName != nullptr && IsLogging())
        LogMessage(LogSeverity::Debug,
            TFormatString(u"CacheFreshnessDeterminer::GetLowestQueryCacheTimeForDatasources using newestTimestamp=%1 "
                          u"from newestDatasource=%2.")
                .arg(FormatTimestamp(result))
                .arg(*newestName)
                .result());
    return result;
}

std::optional<DateTime> CacheFreshnessDeterminer::GetExtractTimestamp(const TString& name) const
{
    const auto found = m_extractTimestamps.find(name);
    return found == m_extractTimestamps.end() ? std::nullopt : std::optional(found->second);
}

void CacheFreshnessDeterminer::SetWorkbookCustomFreshnessMinutes(std::int32_t minutes) noexcept
{
    m_customMinutes = minutes < 0 ? kNoCustomMinutes : minutes;
}

std::int64_t CacheFreshnessDeterminer::GetTTLSecToStoreInExternalCache() const
{
    const std::int64_t ttl = m_customMinutes < 0 ? AppOptions::Get(AppOptions::ExternalCacheRedisAlwaysSetExSec)
                                                 : m_customMinutes * kSecondsPerMinute;
    if (!AppConfig::IsFeatureFlagOn(kCapExternalCacheLifetime) || !AppConfig::GetOnlineServer())
        return ttl;
    const std::int64_t cap = MaxExternalLifetimeSeconds();
    if (cap >= ttl)
        return ttl;
    LogMessage(
        LogSeverity::Info, TFormatString(u"External Query Cache TTL is capped to %1s seconds").arg(cap).result());
    return cap;
}
