#include "brvcore/runtime/SessionContext.h"

#include <utility>

SessionContext::SessionContext(std::shared_ptr<ICacheFreshnessDeterminer::QueryCacheTsObservable> observable)
    : m_freshness(ICacheFreshnessDeterminer::Build(std::move(observable)))
{
}

SessionContext::~SessionContext() = default;
