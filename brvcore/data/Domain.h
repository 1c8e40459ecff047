#pragma once

#include "brvcore/data/ClassAutomaton.h"
#include "brvcore/data/StructureValue.h"
#include "brvcore/foundation/RefCntObject.h"
#include "brvcore/foundation/TString.h"

#include <set>

class Domain;
using DomainPtr = RefCntPtr<Domain>;
using DomainChain = BackLink<DomainPtr>;

// A class of text fragments: a run of digits, a month's name, one literal text. Lengths count code units. A domain of a
// catalogue is read-only while structures are inferred; statistics are gathered on copies by makeStatsDomain(), each used
// by one thread. What match() and uniform() answer depends on the part and the domain alone.
class Domain : public RefCntObject
{
public:
    // Sets of identifiers that restrict where a domain may stand.
    struct Placement
    {
        std::set<TString> notAfter{};           // not directly after one of these
        std::set<TString> notAnywhereAfter{};   // not anywhere after one of these
        std::set<TString> onlyAfter{};          // only with at least one of these somewhere before
        bool isOwnRule = false;   // the domain overrides isRedundantAfter(): the sets do not say everything
    };

    // What a domain tells about itself so that the inference need not ask it per part. All may stay as they are: a domain
    // without hints is asked by the virtual operations, with the same results in more time.
    struct Hints
    {
        // match() accepts exactly what this accepts among the parts of length shortest() to longest(), and uniform() is
        // truthful: it answers true only where no longer part can match. Static data: it is not owned.
        const ClassAutomaton* automaton = nullptr;
        // cardinality(n) grows like growth^n: its logarithm is taken as n log2(growth) where it exceeds a double.
        double growth = 2.0;
        // Of a statistics domain: parameterise() depends only on how many distinct texts were seen. One: a ConstantDomain
        // of it. Several: a domain with the identifier, match, bounds and cardinality of the domain that made this one. The
        // inference then shows it two different parts at most.
        bool isByDistinctTexts = false;
    };

    ~Domain() override;

    virtual const TString& id() const;
    // True for a literal.
    virtual bool constant() const;
    // The text that stands for this domain in a pattern.
    virtual const TString& original() const;
    // The shortest and the longest part that it accepts.
    virtual unsigned shortest() const;
    virtual unsigned longest() const;
    // True when a part of this length that does not match proves that no longer one does. False here.
    virtual bool uniform(unsigned length) const;
    virtual bool match(const Value& value) const = 0;
    // How many distinct parts of this length it admits; 0 for a length that it cannot take. May be infinite.
    virtual double cardinality(unsigned length) const = 0;
    // Whether it must not stand after the chain so far: its direct predecessor is in notAfter, any predecessor is in
    // notAnywhereAfter, or none is in a non-empty onlyAfter. A null chain is the start of a sample.
    virtual bool isRedundantAfter(const DomainChain* chain) const;
    // Whether both accept the same parts. Here: whether they have the same identifier.
    virtual bool sameDomain(const Domain& other) const;
    // A fresh domain of the same kind that gathers statistics.
    virtual DomainPtr makeStatsDomain() const = 0;
    // Records one observed part. Nothing here.
    virtual void updateStats(const Value& value);
    // How sure it is, from 0 to 1, that the part belongs to it, when n parts were seen. Here: 1 when it matches, else 0.
    virtual double matchWithConfidence(const Value& value, unsigned n) const;
    // The domain narrowed to what was seen. When nothing was: the domain itself, so it is not const.
    virtual DomainPtr parameterise() = 0;

    const Placement& GetPlacement() const noexcept { return m_placement; }
    const Hints& GetHints() const noexcept { return m_hints; }

protected:
    Domain(TString id, TString original, bool isConstant, unsigned shortest, unsigned longest, Placement placement,
        Hints hints);
    Domain(TString id, TString original, bool isConstant, unsigned shortest, unsigned longest);
    // For domains that stand for another one: identifier, bounds, placement and hints of it.
    Domain(const Domain& other) = default;
    Domain& operator=(const Domain& other) = delete;

    void SetHints(const Hints& hints) noexcept { m_hints = hints; }

private:
    TString m_id;
    TString m_original;
    bool m_isConstant;
    unsigned m_shortest;
    unsigned m_longest;
    Placement m_placement;
    Hints m_hints;
};
