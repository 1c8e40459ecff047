#include "brvcore/data/ReadingEnumerator.h"

#include <algorithm>

namespace
{
constexpr std::uint32_t kNone = std::numeric_limits<std::uint32_t>::max();
}

std::vector<std::uint32_t> ReadingEnumerator::Enumerate(const ReadingGraph& graph, std::size_t budget)
{
    m_graph = &graph;
    m_cells.clear();
    m_lists.clear();
    m_pending.clear();
    m_memos.clear();
    m_lastMemo.assign(graph.GetNodes().size(), kNone);
    const auto [first, last] =
        EnumerateNode(0, static_cast<std::uint32_t>(std::min<std::size_t>(budget, graph.GetNodes()[0].most)));
    return {m_lists.begin() + static_cast<std::ptrdiff_t>(first), m_lists.begin() + static_cast<std::ptrdiff_t>(last)};
}

std::pair<std::size_t, std::size_t> ReadingEnumerator::EnumerateNode(std::uint32_t node, std::uint32_t budget)
{
    for (std::uint32_t memo = m_lastMemo[node]; memo != kNone; memo = m_memos[memo].olderMemo)
        if (m_memos[memo].budget == budget)
            return {m_memos[memo].first, m_memos[memo].last};

    m_governor.ThrowIfCancelled();
    const std::vector<ReadingGraph::Node>& nodes = m_graph->GetNodes();
    const std::size_t base = m_pending.size();
    const auto add = [&](std::uint32_t domain, std::uint32_t next)
    {
        m_pending.push_back(static_cast<std::uint32_t>(m_cells.size()));
        m_cells.push_back({domain, next});
    };
    for (std::uint32_t e = nodes[node].firstEdge; e < nodes[node + 1].firstEdge; ++e)
    {
        if (m_pending.size() - base > m_maxEnumerate)
            break;
        const ReadingGraph::Edge& edge = m_graph->GetEdges()[e];
        if (edge.target == ReadingGraph::kEnd)
        {
            add(edge.domain, kLast);
            continue;
        }
        const ReadingGraph::Node& target = nodes[edge.target];
        if (target.fewest > budget - 1)
            continue;
        const auto [first, last] = EnumerateNode(edge.target, std::min(budget - 1, target.most));
        for (std::size_t i = first; i < last; ++i)
            add(edge.domain, m_lists[i]);
    }
    const std::size_t first = m_lists.size();
    m_lists.insert(m_lists.end(), m_pending.begin() + static_cast<std::ptrdiff_t>(base), m_pending.end());
    m_pending.resize(base);
    m_memos.push_back({budget, m_lastMemo[node], first, m_lists.size()});
    m_lastMemo[node] = static_cast<std::uint32_t>(m_memos.size() - 1);
    return {first, m_lists.size()};
}
