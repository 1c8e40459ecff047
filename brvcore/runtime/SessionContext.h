#pragma once

#include "brvcore/foundation/BrvExport.h"
#include "brvcore/runtime/CacheFreshnessDeterminer.h"

#include <memory>

// What belongs to one session of a host and lives as long as it: the freshness of its query cache. Takes no locks.
class BRV_EXPORT SessionContext
{
public:
    // The observable is told when cached results have to be younger than before; it may be null.
    explicit SessionContext(std::shared_ptr<ICacheFreshnessDeterminer::QueryCacheTsObservable> observable = nullptr);
    ~SessionContext();
    SessionContext(const SessionContext&) = delete;
    SessionContext& operator=(const SessionContext&) = delete;

    CacheFreshnessDeterminer& GetCacheFreshnessDeterminer() noexcept { return *m_freshness; }
    const CacheFreshnessDeterminer& GetCacheFreshnessDeterminer() const noexcept { return *m_freshness; }

private:
    std::unique_ptr<CacheFreshnessDeterminer> m_freshness;
};
