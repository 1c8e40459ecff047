#pragma once

#include "brvcore/foundation/BrvExport.h"
#include "brvcore/foundation/DateTime.h"
#include "brvcore/foundation/Observable.h"
#include "brvcore/foundation/RefCntObject.h"
#include "brvcore/foundation/TString.h"

#include <map>
#include <memory>
#include <optional>

class CacheFreshnessDeterminer;

// The rules by which a cached query result counts as fresh: it must have been computed at or after a lowest timestamp,
// which a newer extract of the data behind it moves later. Timestamps are in universal time; DateTime::OLEEpoch
// as the lowest means that any cached result will do. The statics are re-entrant.
class BRV_EXPORT ICacheFreshnessDeterminer
{
public:
    // "The lowest timestamp has moved later." There is nothing in it: a receiver asks for the new one.
    class BRV_EXPORT QueryCacheTsMsg : public RefCntObject
    {
    };
    using QueryCacheTsObservable = Observable<RefCntPtr<QueryCacheTsMsg>>;
    using ExtractTimestamps = std::map<TString, DateTime>;   // by name of the data source

    // An offset up to this one, minus one minute, means that any cached result may be used.
    static constexpr DateTimeSpan UseCacheIfAvailable = DateTimeSpan::FromSeconds(-60);

    virtual ~ICacheFreshnessDeterminer();

    // A determiner to which any cached result is fresh. The observable may be null. The result is used with
    // CacheFreshnessDeterminer.h.
    static std::unique_ptr<CacheFreshnessDeterminer> Build(std::shared_ptr<QueryCacheTsObservable> observable);

    // Now less the offset, or now for an offset that is not positive; the OLE epoch for one up to UseCacheIfAvailable.
    // Throws LogicException 0x50722320 when that lies before the year 1.
    static DateTime CalculateLowestQueryCacheTS(DateTimeSpan offset);

    // The later of the two.
    static DateTime FindLowestQueryCacheTimestamp(DateTime lowest, std::optional<DateTime> newest);

    // The latest timestamp of all data sources; none without any.
    static std::optional<DateTime> FindNewestExtractTimestamp(const ExtractTimestamps& extractTimestamps);

    // The moment at or after which a result must have been computed.
    virtual DateTime GetLowestQueryCacheTS() const = 0;

    // Replaces the lowest timestamp and all extract timestamps; `notify` tells the observers when the outcome is later
    // than before.
    virtual void SetLowestQueryCacheTS(DateTime lowest, const ExtractTimestamps& extractTimestamps, bool notify) = 0;
};
