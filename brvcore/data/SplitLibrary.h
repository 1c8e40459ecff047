#pragma once

#include "brvcore/data/StructureLibrary.h"

#include <string_view>

// The catalogue of domains for splitting strings of any kind: words, digits, punctuation, spaces, decimal numbers, network
// addresses. See Library for lifetimes and threads.
class SplitLibrary : public Library
{
public:
    // With single punctuation marks beside runs of them when asked for.
    SplitLibrary(const StructureGovernor& governor, bool withOnePunc);

    // Null for a structure that has a decimal part and a literal ".", "+" or "-": that mark belongs to the number.
    StructurePtr PruneStructure(const StructurePtr& structure) const override;
    // Null for a structure that has both a domain with the literal for its identifier and one with this identifier.
    virtual StructurePtr PruneIncompatible(
        const StructurePtr& structure, std::u16string_view literal, std::u16string_view domainId) const;
};
