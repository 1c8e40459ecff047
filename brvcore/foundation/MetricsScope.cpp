#include "brvcore/foundation/MetricsScope.h"

#include "brvcore/foundation/Clock.h"
#include "brvcore/foundation/HostSlot.h"

#include <utility>

namespace
{

HostSlot<IMetricsSink>& Slot()
{
    static auto* const slot = new HostSlot<IMetricsSink>;   // outlives every static object that measures
    return *slot;
}

}   // namespace

struct MetricsScope::State
{
    std::shared_ptr<IMetricsSink> sink;
    std::u16string_view name;
    std::chrono::steady_clock::time_point start;
    std::map<TString, TString> facts;
};

IMetricsSink::~IMetricsSink() = default;

std::shared_ptr<IMetricsSink> SetMetricsSink(std::shared_ptr<IMetricsSink> sink)
{
    return Slot().Exchange(std::move(sink));
}

MetricsScope::MetricsScope(std::u16string_view name) noexcept
{
    if (!Slot().IsSet())
        return;
    try
    {
        if (std::shared_ptr<IMetricsSink> sink = Slot().Get())
            m_state.reset(new State{std::move(sink), name, Clock::SteadyNow(), {}});
    }
    catch (...)   // a measurement that cannot be made is not made
    {
    }
}

MetricsScope::~MetricsScope()
{
    if (!m_state)
        return;
    try
    {
        const auto elapsed = Clock::SteadyNow() - m_state->start;
        m_state->sink->Write({m_state->name, elapsed, m_state->facts});
    }
    catch (...)
    {
    }
}

void MetricsScope::Emit(const TString& key, const TString& value)
{
    if (m_state)
        m_state->facts[key] = value;
}
