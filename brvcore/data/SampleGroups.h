#pragma once

#include "brvcore/data/CancellationPoll.h"
#include "brvcore/data/DescriptionBits.h"
#include "brvcore/data/ReadingEnumerator.h"
#include "brvcore/data/ReadingGraph.h"

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <memory_resource>
#include <span>
#include <string_view>
#include <unordered_map>
#include <vector>

// Domains as positions in the catalogue, one byte each. Compares as sequences of numbers do.
using DomainSequence = std::basic_string_view<unsigned char>;

// Samples with equal graphs of readings. All have the same structures, and every structure splits them along the same path,
// so a group is enumerated once, and what scoring asks of its samples is summed per edge. Its arrays lie in an arena of the
// SampleGroups that it belongs to: there may be a group for every sample, and letting go of them must not take long.
class SampleGroup
{
public:
    // What the group's samples have at an edge.
    struct PartSums
    {
        Value other;              // a part that differs from the first sample's; null text when all are equal
        std::int64_t units = 0;   // cost of description by the edge's domain, in DescriptionBits::kUnit
        std::uint64_t length = 0;
    };

    using Nodes = std::span<const ReadingGraph::Node>;
    using Edges = std::span<const ReadingGraph::Edge>;

    // The group of one sample with its graph; nothing is summed yet, and there are no structures.
    SampleGroup(const ReadingGraph& graph, const Value& sample, std::pmr::memory_resource& arena);

    bool HasGraph(Nodes nodes, Edges edges) const;

    std::uint64_t GetCount() const noexcept { return m_count; }
    Nodes GetNodes() const noexcept { return m_nodes; }
    Edges GetEdges() const noexcept { return m_edges; }
    const PartSums& GetSums(std::uint32_t edge) const noexcept { return m_sums[edge]; }
    // The first sample's part between a node and the target of an edge of it.
    Value GetPart(std::uint32_t node, std::uint32_t edge) const noexcept;

    template <class Function> void ForEachSequence(const Function& function) const
    {
        for (std::size_t first = 0; first < m_sequences.size();)
        {
            const std::size_t last = m_sequences.find(kEndOfSequence, first);
            function(m_sequences.substr(first, last - first));
            first = last + 1;
        }
    }

    // The edges by which the group's samples are split after the domains, shortest parts first; false when they are not.
    // O(domains x edges), spent on the poll; recursion as deep as there are domains.
    bool FindPath(DomainSequence domains, std::vector<std::uint32_t>& path, CancellationPoll& poll) const;

private:
    friend class SampleGroups;
    static constexpr unsigned char kEndOfSequence = 0xFF;   // no position: a catalogue has at most 64 domains

    const char16_t* m_text;   // of the first sample
    std::uint64_t m_count = 0;
    Nodes m_nodes;   // with the first sample's offsets
    Edges m_edges;
    std::span<PartSums> m_sums;   // by edge
    DomainSequence m_sequences;   // its structures, each ended by kEndOfSequence
};

// Does not move its elements when it grows.
using SampleGroupList = std::deque<SampleGroup>;

// The samples that have readings, by their graphs. Belongs to one thread.
class SampleGroups
{
public:
    // The catalogue outlives it, the governor too. ReadingRules::CanPrepare() holds for the catalogue.
    SampleGroups(const std::vector<DomainPtr>& catalogue, const StructureGovernor& governor);

    // Throw what the governor throws.
    void Add(const Value& sample);
    void Merge(SampleGroups&& other);   // the other one is of no use afterwards

    const SampleGroupList& GetGroups() const noexcept { return m_groups; }
    // Whether adding the costs part by part, as doubles in any order, gives this sum of theirs to the last bit.
    bool IsExact(std::int64_t units) const noexcept;
    const std::vector<DomainPtr>& GetCatalogue() const noexcept { return m_catalogue; }

private:
    using Positions = std::pmr::unordered_multimap<std::uint64_t, std::uint32_t>;

    Positions& GetPositions(std::uint64_t hash) { return m_byHash[hash % m_byHash.size()]; }
    SampleGroup* Find(std::uint64_t hash, SampleGroup::Nodes nodes, SampleGroup::Edges edges);
    void AddSequences(SampleGroup& group);
    void AddSums(SampleGroup& group, const Value& sample);

    const std::vector<DomainPtr>& m_catalogue;
    ReadingRules m_rules;
    std::size_t m_budget;
    PlacementState m_start;
    ReadingGraph m_graph;
    ReadingEnumerator m_enumerator;
    std::vector<DescriptionBits> m_bits;   // by domain
    CancellationPoll m_poll;
    std::vector<std::unique_ptr<std::pmr::monotonic_buffer_resource>> m_arenas;   // its own, and those of merged ones
    SampleGroupList m_groups;
    std::vector<Positions> m_byHash;             // positions of groups; many maps, as one grows in one step
    std::vector<unsigned char> m_newSequences;   // scratch
    bool m_areUnitsExact = true;                 // every cost was a multiple of the unit, and none was positive
    std::int64_t m_unionOfUnits = 0;             // all costs, combined by "or": trailing zeros are common to all
};
