#include "brvcore/foundation/CancellationChecker.h"

#include <utility>

namespace
{

thread_local const std::function<bool()>* t_isCancelled = nullptr;

}   // namespace

const char* CancelledException::what() const noexcept
{
    return "The operation was cancelled";
}

void CancellationChecker::Poll()
{
    m_countdown = m_pollingCount;
    if (t_isCancelled != nullptr && *t_isCancelled && (*t_isCancelled)())
        throw CancelledException();
}

CancellationScope::CancellationScope(std::function<bool()> isCancelled)
    : m_callback(std::move(isCancelled)), m_previous(std::exchange(t_isCancelled, &m_callback))
{
}

CancellationScope::~CancellationScope()
{
    t_isCancelled = m_previous;
}
