#pragma once

#include "brvcore/data/Domain.h"

#include <vector>

// One reading of a sample: its domains in order. Structures with equal identifiers are the same candidate.
class Structure : public RefCntObject
{
public:
    // Takes the domains as they are.
    explicit Structure(std::vector<DomainPtr> domains);
    // The domain, then those of a structure for the rest.
    Structure(const DomainPtr& first, const std::vector<DomainPtr>& rest);
    ~Structure() override;

    // The identifiers and the original texts of the domains, joined.
    virtual const TString& id() const;
    virtual const TString& original() const;
    virtual const std::vector<DomainPtr>& domains() const;

private:
    std::vector<DomainPtr> m_domains;
    TString m_id;
    TString m_original;
};

using StructurePtr = RefCntPtr<Structure>;
