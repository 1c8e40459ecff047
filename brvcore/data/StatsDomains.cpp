#include "brvcore/data/StatsDomains.h"

#include "brvcore/data/TextDomains.h"

#include <algorithm>
#include <cmath>
#include <type_traits>

namespace
{
template <class Number> std::optional<Number> ParseNumber(std::u16string_view text)
{
    if constexpr (std::is_same_v<Number, std::uint64_t>)
        return ParseUnsigned(text);
    else if constexpr (std::is_same_v<Number, std::int64_t>)
        return TString::ParseInt(text);
    else
    {
        const std::optional<double> number = TString::ParseDouble(text);
        return number && std::isfinite(*number) ? number : std::nullopt;
    }
}
}   // namespace

DomainPtr ShareDomain(const Domain& domain)
{
    return DomainPtr(const_cast<Domain*>(&domain));
}

DelegatedDomain::DelegatedDomain(DomainPtr domain) : Domain(*domain), m_domain(std::move(domain)) {}

const TString& DelegatedDomain::id() const
{
    return m_domain->id();
}

bool DelegatedDomain::constant() const
{
    return m_domain->constant();
}

unsigned DelegatedDomain::shortest() const
{
    return m_domain->shortest();
}

unsigned DelegatedDomain::longest() const
{
    return m_domain->longest();
}

bool DelegatedDomain::uniform(unsigned length) const
{
    return m_domain->uniform(length);
}

bool DelegatedDomain::match(const Value& value) const
{
    return m_domain->match(value);
}

double DelegatedDomain::cardinality(unsigned length) const
{
    return m_domain->cardinality(length);
}

bool DelegatedDomain::isRedundantAfter(const DomainChain* chain) const
{
    return m_domain->isRedundantAfter(chain);
}

DomainPtr DelegatedDomain::makeStatsDomain() const
{
    return m_domain->makeStatsDomain();
}

void DelegatedDomain::updateStats(const Value& value)
{
    m_domain->updateStats(value);
}

double DelegatedDomain::matchWithConfidence(const Value& value, unsigned n) const
{
    return m_domain->matchWithConfidence(value, n);
}

HistogramDomain::HistogramDomain(DomainPtr domain) : HistogramDomain(std::move(domain), true) {}

HistogramDomain::HistogramDomain(DomainPtr domain, bool isByDistinctTexts) : DelegatedDomain(std::move(domain))
{
    Hints hints = GetHints();
    hints.isByDistinctTexts = isByDistinctTexts;
    SetHints(hints);
}

void HistogramDomain::updateStats(const Value& value)
{
    if (m_distinctTexts == 0)
    {
        m_first = TString(value.View());
        m_distinctTexts = 1;
    }
    else if (m_distinctTexts == 1 && m_first != value.View())
        m_distinctTexts = 2;
}

DomainPtr HistogramDomain::parameterise()
{
    if (m_distinctTexts == 1)
        return MakeRefCnt<ConstantDomain>(m_first);
    return m_distinctTexts == 0 ? DomainPtr(this) : GetDelegate();
}

template <class Number>
NumericDomain<Number>::NumericDomain(DomainPtr domain) : HistogramDomain(std::move(domain), false)
{
}

template <class Number> void NumericDomain<Number>::updateStats(const Value& value)
{
    HistogramDomain::updateStats(value);
    const std::optional<Number> number = ParseNumber<Number>(value.View());
    if (!number)
        return;
    if (!m_range)
        m_range = Range(*number, *number);
    m_range->first = std::min(m_range->first, *number);
    m_range->second = std::max(m_range->second, *number);
}

template <class Number> DomainPtr NumericDomain<Number>::parameterise()
{
    return GetDistinctTexts() == 1 ? HistogramDomain::parameterise() : DomainPtr(this);
}

template class NumericDomain<std::uint64_t>;
template class NumericDomain<std::int64_t>;
template class NumericDomain<double>;
