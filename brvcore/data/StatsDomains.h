#pragma once

#include "brvcore/data/Domain.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <utility>

// Domains that stand for another one while the parts of one structure are gathered. Each serves one thread.

// The domain itself as a shared object; it was made by MakeRefCnt. Copies for statistics read it only.
DomainPtr ShareDomain(const Domain& domain);

// Answers like another domain, with an original text of its own (here: that of the other).
class DelegatedDomain : public Domain
{
public:
    explicit DelegatedDomain(DomainPtr domain);

    const TString& id() const override;
    bool constant() const override;
    unsigned shortest() const override;
    unsigned longest() const override;
    bool uniform(unsigned length) const override;
    bool match(const Value& value) const override;
    double cardinality(unsigned length) const override;
    bool isRedundantAfter(const DomainChain* chain) const override;
    DomainPtr makeStatsDomain() const override;
    void updateStats(const Value& value) override;
    double matchWithConfidence(const Value& value, unsigned n) const override;

    const DomainPtr& GetDelegate() const noexcept { return m_domain; }

private:
    DomainPtr m_domain;
};

// The histogram of the parts seen, as far as narrowing asks for it: none, one text, or several.
class HistogramDomain : public DelegatedDomain
{
public:
    explicit HistogramDomain(DomainPtr domain);

    void updateStats(const Value& value) override;
    // One distinct text: a ConstantDomain of it. Several: the domain that the parts were gathered for. None: this one.
    DomainPtr parameterise() override;

    // 0, 1 or 2, which stands for several.
    unsigned GetDistinctTexts() const noexcept { return m_distinctTexts; }

protected:
    HistogramDomain(DomainPtr domain, bool isByDistinctTexts);

private:
    TString m_first;
    unsigned m_distinctTexts = 0;
};

// A histogram that also keeps the range of the parts as numbers; parts that are none have no part in it. Defined for
// std::uint64_t, std::int64_t and double.
template <class Number> class NumericDomain : public HistogramDomain
{
public:
    using Range = std::pair<Number, Number>;   // smallest and greatest

    explicit NumericDomain(DomainPtr domain);

    void updateStats(const Value& value) override;
    // As HistogramDomain, but several texts give this domain, which knows their range.
    DomainPtr parameterise() override;

    // Nothing before the first number.
    const std::optional<Range>& GetRange() const noexcept { return m_range; }

private:
    std::optional<Range> m_range;
};

extern template class NumericDomain<std::uint64_t>;
extern template class NumericDomain<std::int64_t>;
extern template class NumericDomain<double>;
