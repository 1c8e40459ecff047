#pragma once

#include "brvcore/runtime/ICacheFreshnessDeterminer.h"

#include <cstdint>
#include <vector>

// The freshness of one session's query cache: the lowest timestamp that a cached result may bear, and the time to live
// under which a result may be stored in the external cache.
//
// Takes no locks: a caller that shares one between threads serialises the calls. Observers run inside the setters, after
// the new state is stored; they may call the setters again, end or begin registrations, and end the session. What they
// throw passes out of the setter.
class BRV_EXPORT CacheFreshnessDeterminer : public ICacheFreshnessDeterminer
{
public:
    explicit CacheFreshnessDeterminer(std::shared_ptr<QueryCacheTsObservable> observable);
    CacheFreshnessDeterminer(const CacheFreshnessDeterminer&) = delete;
    CacheFreshnessDeterminer& operator=(const CacheFreshnessDeterminer&) = delete;

    // The lowest timestamp as it was set, or the newest extract timestamp when that is later.
    DateTime GetLowestQueryCacheTS() const override;

    // A copy that runs out of memory leaves everything as it was.
    void SetLowestQueryCacheTS(DateTime lowest, const ExtractTimestamps& extractTimestamps, bool notify) override;

    // The same with the lowest timestamp of an offset (CalculateLowestQueryCacheTS, and its failure), and with the extract
    // timestamps that there are.
    void SetLowestQueryCacheTSOffset(DateTimeSpan offset, bool notify);

    // The later of the lowest timestamp as it was set and the extract timestamps of these data sources alone; names
    // without one do not count. Logs the data source that decided, at level Debug.
    DateTime GetLowestQueryCacheTimeForDatasources(const std::vector<TString>& names) const;

    std::optional<DateTime> GetExtractTimestamp(const TString& name) const;
    std::optional<DateTime> GetNewestExtractTimestamp() const noexcept { return m_newestExtract; }

    // How old the workbook itself allows results to be; a negative number means that it does not say.
    void SetWorkbookCustomFreshnessMinutes(std::int32_t minutes) noexcept;

    // Seconds for which a result may stay in the external cache: the workbook's minutes, else the option
    // ExternalCacheRedisAlwaysSetExSec. On the online server with feature flag 0xFC275D5C it is at most the option
    // ExternalCacheMaxDataLifetimeMinutes, or a day when that is below 1; a cut is logged at level Info. Options, flag and
    // kind of server are read at each call; what the first option gives is returned as it is, also below 0. Throws
    // LogicException 0x7A96F0CE when an option was overridden with another type.
    std::int64_t GetTTLSecToStoreInExternalCache() const;

private:
    static constexpr std::int32_t kNoCustomMinutes = -1;

    DateTime m_lowest = DateTime::OLEEpoch;
    std::shared_ptr<QueryCacheTsObservable> m_observable;
    ExtractTimestamps m_extractTimestamps;
    std::optional<DateTime> m_newestExtract;   // of m_extractTimestamps
    std::int32_t m_customMinutes = kNoCustomMinutes;
};
