#include "brvcore/data/SampleGroups.h"

#include <algorithm>
#include <bit>
#include <iterator>
#include <memory>
#include <type_traits>
#include <utility>

namespace
{
// Multiply-xorshift mixing after S. Vigna's splitmix64.
constexpr std::uint64_t Mix(std::uint64_t hash, std::uint64_t value) noexcept
{
    hash = (hash ^ value) * 0xBF58476D1CE4E5B9U;
    return hash ^ (hash >> 31U);
}

// Equal for equal graphs; offsets do not belong to a graph.
std::uint64_t HashOf(SampleGroup::Nodes nodes, SampleGroup::Edges edges)
{
    std::uint64_t hash = nodes.size();
    for (const ReadingGraph::Node& node : nodes)
        hash = Mix(hash, node.firstEdge);
    for (const ReadingGraph::Edge& edge : edges)
        hash = Mix(hash, (std::uint64_t(edge.target) << 32U) | edge.domain);
    return hash;
}

// Uninitialised room that lives as long as the arena. Nothing in it is ever destroyed.
template <class T> T* Allocate(std::pmr::memory_resource& arena, std::size_t count)
{
    static_assert(std::is_trivially_destructible_v<T>);
    return static_cast<T*>(arena.allocate(count * sizeof(T), alignof(T)));
}

template <class T> std::span<const T> CopyTo(std::pmr::memory_resource& arena, const std::vector<T>& items)
{
    T* const copy = Allocate<T>(arena, items.size());
    std::uninitialized_copy(items.begin(), items.end(), copy);
    return {copy, items.size()};
}
}   // namespace

// Depth first; a node from which the domains from one on lead nowhere is remembered once there were some failures.
class PathSearch
{
public:
    PathSearch(
        const SampleGroup& group, DomainSequence domains, std::vector<std::uint32_t>& path, CancellationPoll& poll)
        : m_nodes(group.GetNodes()), m_edges(group.GetEdges()), m_domains(domains), m_path(path), m_poll(poll)
    {
    }

    bool From(std::uint32_t node, std::size_t index)
    {
        const std::size_t left = m_domains.size() - index;
        if (left < m_nodes[node].fewest || left > m_nodes[node].most || IsKnownFailure(node, index))
            return false;
        m_poll.Spend(m_nodes[node + 1].firstEdge - m_nodes[node].firstEdge);
        for (std::uint32_t e = m_nodes[node].firstEdge; e < m_nodes[node + 1].firstEdge; ++e)
        {
            const ReadingGraph::Edge& edge = m_edges[e];
            if (edge.domain < m_domains[index])
                continue;
            if (edge.domain > m_domains[index])
                break;
            const bool isAtEnd = edge.target == ReadingGraph::kEnd;
            if (isAtEnd != (left == 1) || (!isAtEnd && !From(edge.target, index + 1)))
                continue;
            m_path[index] = e;
            return true;
        }
        RememberFailure(node, index);
        return false;
    }

private:
    bool IsKnownFailure(std::uint32_t node, std::size_t index) const
    {
        return !m_failed.empty() && m_failed[node * m_domains.size() + index];
    }
    void RememberFailure(std::uint32_t node, std::size_t index)
    {
        constexpr std::size_t kFailuresWithoutTable = 64;
        if (++m_failures < kFailuresWithoutTable)
            return;
        if (m_failed.empty())
            m_failed.resize(m_nodes.size() * m_domains.size());
        m_failed[node * m_domains.size() + index] = true;
    }

    SampleGroup::Nodes m_nodes;
    SampleGroup::Edges m_edges;
    DomainSequence m_domains;
    std::vector<std::uint32_t>& m_path;
    CancellationPoll& m_poll;
    std::vector<bool> m_failed;   // by node and index
    std::size_t m_failures = 0;
};

SampleGroup::SampleGroup(const ReadingGraph& graph, const Value& sample, std::pmr::memory_resource& arena)
    : m_text(sample.text), m_nodes(CopyTo(arena, graph.GetNodes())), m_edges(CopyTo(arena, graph.GetEdges())),
      m_sums(Allocate<PartSums>(arena, m_edges.size()), m_edges.size())
{
    std::uninitialized_value_construct(m_sums.begin(), m_sums.end());
}

bool SampleGroup::HasGraph(Nodes nodes, Edges edges) const
{
    return std::equal(m_edges.begin(), m_edges.end(), edges.begin(), edges.end()) &&
           std::equal(m_nodes.begin(), m_nodes.end(), nodes.begin(), nodes.end(),
               [](const ReadingGraph::Node& a, const ReadingGraph::Node& b) { return a.firstEdge == b.firstEdge; });
}

Value SampleGroup::GetPart(std::uint32_t node, std::uint32_t edge) const noexcept
{
    const std::uint32_t target = m_edges[edge].target;
    const std::uint32_t start = m_nodes[node].offset;
    return {m_text + start, (target == ReadingGraph::kEnd ? m_nodes.back() : m_nodes[target]).offset - start};
}

bool SampleGroup::FindPath(DomainSequence domains, std::vector<std::uint32_t>& path, CancellationPoll& poll) const
{
    path.resize(domains.size());
    return PathSearch(*this, domains, path, poll).From(0, 0);
}

SampleGroups::SampleGroups(const std::vector<DomainPtr>& catalogue, const StructureGovernor& governor)
    : m_catalogue(catalogue), m_rules(catalogue), m_budget(governor.GetDepth()), m_start(m_rules.StateAfter(nullptr)),
      m_graph(m_rules, governor), m_enumerator(governor), m_poll(governor)
{
    constexpr std::size_t kFirstBlock = std::size_t(1) << 14;
    constexpr std::size_t kMaps = 64;
    m_arenas.push_back(std::make_unique<std::pmr::monotonic_buffer_resource>(kFirstBlock));
    m_byHash.reserve(kMaps);
    for (std::size_t map = 0; map < kMaps; ++map)
        m_byHash.emplace_back(m_arenas.front().get());
    m_bits.reserve(catalogue.size());
    for (const DomainPtr& domain : catalogue)
        m_bits.emplace_back(*domain);
}

// Costs that are no more than 0 add up monotonically, so no partial sum is larger than the whole, and all are multiples of
// the largest power of two that divides every cost. The -8 n of a domain that narrowed to a literal are multiples of 2^26
// units; where that power is larger still, 64 bits hold no sum of more than 2^37 of them, so it is exact all the same.
bool SampleGroups::IsExact(std::int64_t units) const noexcept
{
    if (!m_areUnitsExact || m_unionOfUnits == 0)
        return m_areUnitsExact;
    return (-units >> std::countr_zero(static_cast<std::uint64_t>(m_unionOfUnits))) <= DescriptionBits::kExactSum;
}

void SampleGroups::Add(const Value& sample)
{
    m_graph.Build(sample, m_budget, m_start);
    if (m_graph.IsEmpty())
        return;
    const std::uint64_t hash = HashOf(m_graph.GetNodes(), m_graph.GetEdges());
    SampleGroup* group = Find(hash, m_graph.GetNodes(), m_graph.GetEdges());
    if (group == nullptr)
    {
        group = &m_groups.emplace_back(m_graph, sample, *m_arenas.front());
        AddSequences(*group);
        GetPositions(hash).emplace(hash, static_cast<std::uint32_t>(m_groups.size() - 1));
    }
    AddSums(*group, sample);
}

SampleGroup* SampleGroups::Find(std::uint64_t hash, SampleGroup::Nodes nodes, SampleGroup::Edges edges)
{
    const auto [first, last] = GetPositions(hash).equal_range(hash);
    for (auto found = first; found != last; ++found)
        if (m_groups[found->second].HasGraph(nodes, edges))
            return &m_groups[found->second];
    return nullptr;
}

void SampleGroups::AddSequences(SampleGroup& group)
{
    const std::vector<std::uint32_t> structures = m_enumerator.Enumerate(m_graph, m_budget);
    m_newSequences.clear();
    for (std::uint32_t cell : structures)
    {
        const std::size_t first = m_newSequences.size();
        for (; cell != ReadingEnumerator::kLast; cell = m_enumerator[cell].next)
            m_newSequences.push_back(static_cast<unsigned char>(m_enumerator[cell].domain));
        m_newSequences.push_back(SampleGroup::kEndOfSequence);
        m_poll.Spend(m_newSequences.size() - first);
    }
    const std::span<const unsigned char> sequences = CopyTo(*m_arenas.front(), m_newSequences);
    group.m_sequences = DomainSequence(sequences.data(), sequences.size());
}

void SampleGroups::AddSums(SampleGroup& group, const Value& sample)
{
    const std::vector<ReadingGraph::Node>& nodes = m_graph.GetNodes();
    ++group.m_count;
    for (std::uint32_t node = 0; node + 1 < nodes.size(); ++node)
    {
        m_poll.Spend(nodes[node + 1].firstEdge - nodes[node].firstEdge);
        for (std::uint32_t e = nodes[node].firstEdge; e < nodes[node + 1].firstEdge; ++e)
        {
            const ReadingGraph::Edge& edge = m_graph.GetEdges()[e];
            const std::uint32_t end = (edge.target == ReadingGraph::kEnd ? nodes.back() : nodes[edge.target]).offset;
            const Value part = sample.Part(nodes[node].offset, end - nodes[node].offset);
            SampleGroup::PartSums& sums = group.m_sums[e];
            sums.length += part.length;
            const std::int64_t units = m_bits[edge.domain].GetUnits(part.length);
            if (units == DescriptionBits::kInexact)
                m_areUnitsExact = false;
            else
            {
                m_areUnitsExact = m_areUnitsExact && units <= 0;
                m_unionOfUnits |= units;
                sums.units += units;
            }
            if (sums.other.text == nullptr && part.View() != group.GetPart(node, e).View())
                sums.other = part;
        }
    }
}

void SampleGroups::Merge(SampleGroups&& other)
{
    for (SampleGroup& theirs : other.m_groups)
    {
        m_poll.Spend(theirs.m_edges.size());
        const std::uint64_t hash = HashOf(theirs.m_nodes, theirs.m_edges);
        SampleGroup* const ours = Find(hash, theirs.m_nodes, theirs.m_edges);
        if (ours == nullptr)
        {
            GetPositions(hash).emplace(hash, static_cast<std::uint32_t>(m_groups.size()));
            m_groups.push_back(theirs);
            continue;
        }
        ours->m_count += theirs.m_count;
        for (std::uint32_t node = 0; node + 1 < ours->m_nodes.size(); ++node)
            for (std::uint32_t e = ours->m_nodes[node].firstEdge; e < ours->m_nodes[node + 1].firstEdge; ++e)
            {
                SampleGroup::PartSums& sums = ours->m_sums[e];
                sums.units += theirs.m_sums[e].units;
                sums.length += theirs.m_sums[e].length;
                if (sums.other.text == nullptr)
                    sums.other = ours->GetPart(node, e).View() != theirs.GetPart(node, e).View()
                                     ? theirs.GetPart(node, e)
                                     : theirs.m_sums[e].other;
            }
    }
    m_areUnitsExact = m_areUnitsExact && other.m_areUnitsExact;
    m_unionOfUnits |= other.m_unionOfUnits;
    other.m_byHash.clear();
    std::move(other.m_arenas.begin(), other.m_arenas.end(), std::back_inserter(m_arenas));
    other.m_arenas.clear();
    other.m_groups.clear();
}
