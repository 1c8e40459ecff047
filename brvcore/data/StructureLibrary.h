#pragma once

#include "brvcore/data/Structure.h"
#include "brvcore/data/StructureGovernor.h"

#include <cstddef>
#include <memory>
#include <unordered_map>
#include <utility>
#include <vector>

class SampleGroups;

// How many samples admit a structure.
struct CountedStructure
{
    double count = 0.0;
    StructurePtr structure;          // the representative: of the lowest sample, that sample's first
    const Value* lowest = nullptr;   // that sample
};

// The structures that samples can take, by identifier. Belongs to one thread while it is filled. Held in two forms: the
// library's own enumeration of a catalogue that can be prepared fills groups of samples with equal readings and makes no
// structures; the plain enumeration and subclasses with a rule of their own fill the map, structure by structure.
class StructureCounts
{
public:
    StructureCounts();
    ~StructureCounts();
    StructureCounts(StructureCounts&& other) noexcept;
    StructureCounts& operator=(StructureCounts&& other) noexcept;

    // One more sample admits the structure. A sample adds each identifier once.
    void Add(const StructurePtr& structure, const Value& sample);
    // Adds what the other holds.
    void Merge(StructureCounts&& other);
    // The map from identifier to count and representative. Builds the structures of grouped samples.
    std::unordered_map<TString, CountedStructure> Expand() const;

private:
    friend class Library;

    std::unordered_map<TString, CountedStructure> m_counts;
    std::unique_ptr<SampleGroups> m_groups;   // samples that have equal readings, enumerated once for all of them
};

// A structure and its description length in bits: smaller is better.
using RankedStructure = std::pair<double, StructurePtr>;

// A catalogue of domains, and the inference of the structures that samples take: enumeration per sample, counting over all,
// ranking by description length. Built for one run; samples and governor outlive it. See StructureGovernor for the limits.
//
// A subclass fills m_catalogue in its constructor. Time and memory are bounded by the limits and the samples' lengths when
// the catalogue has at most 64 domains that match no empty part, are placed by their sets of identifiers, and no identifier
// begins with another, times the number of different states that placement can be in at one offset (two to five for the
// catalogues here); otherwise the enumeration is the plain one, which may take time exponential in the depth.
class Library
{
public:
    explicit Library(const StructureGovernor& governor);
    virtual ~Library();
    Library(const Library&) = delete;
    Library& operator=(const Library&) = delete;

    // Adds the structures of samples [first, last).
    virtual void EnumerateSamples(StructureCounts& counts, const Value* first, const Value* last) const;
    // May replace a candidate, or reject it (null). Called for candidates and again after their domains were narrowed. Here:
    // the structure itself. Its answer depends on the structure alone; it runs on several threads.
    virtual StructurePtr PruneStructure(const StructurePtr& structure) const;

    // Best first. Equal scores and counts are ordered by the structure's sequence of catalogue positions, so the result
    // depends on nothing but the samples and the catalogue. Runs on several threads; rethrows what a worker threw. Throws
    // LogicException 0x90B5677F "samples.size() <= std::numeric_limits<unsigned>::max()", and 0x80B6CC7A
    // "value.length < kEnd" for a sample of 2^32 - 1 code units or more.
    std::vector<RankedStructure> RankSamples(const std::vector<Value>& samples) const;

    // The structures of at most `budget` domains, and at most StructureGovernor::kDeepest, that cover the whole value, in
    // the order of the enumeration, with those that occur more than once. The chain is what stands before the value: null
    // at its start.
    std::vector<StructurePtr> EnumerateValue(std::size_t budget, const Value& value, const DomainChain* chain) const;

    const std::vector<DomainPtr>& GetCatalogue() const noexcept { return m_catalogue; }
    const StructureGovernor& GetGovernor() const noexcept { return m_governor; }

protected:
    std::vector<DomainPtr> m_catalogue;   // in the order in which the enumeration tries them

private:
    std::vector<StructurePtr> EnumeratePlainly(std::size_t budget, const Value& value, const DomainChain* chain) const;

    const StructureGovernor& m_governor;
};
