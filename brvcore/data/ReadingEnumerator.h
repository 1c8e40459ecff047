#pragma once

#include "brvcore/data/ReadingGraph.h"

#include <cstddef>
#include <cstdint>
#include <limits>
#include <utility>
#include <vector>

// The structures of a graph of readings, in the order and with the cut of the plain enumeration: at every node the domains
// are tried in turn, and once a node holds more than the governor's GetMaxEnumerate() structures it takes no further ones.
//
// A node is enumerated once per budget that makes a difference. Structures share their tails: a cell is a domain and the
// cell of what follows it.
class ReadingEnumerator
{
public:
    struct Cell
    {
        std::uint32_t domain;
        std::uint32_t next;   // kLast behind the last domain
    };
    static constexpr std::uint32_t kLast = std::numeric_limits<std::uint32_t>::max();

    explicit ReadingEnumerator(const StructureGovernor& governor)
        : m_governor(governor), m_maxEnumerate(governor.GetMaxEnumerate())
    {
    }

    // The first cells of the graph's structures; valid until the next call. The graph is not empty.
    std::vector<std::uint32_t> Enumerate(const ReadingGraph& graph, std::size_t budget);
    const Cell& operator[](std::uint32_t cell) const noexcept { return m_cells[cell]; }

private:
    struct Memo
    {
        std::uint32_t budget;
        std::uint32_t olderMemo;   // of the same node
        std::size_t first;         // in m_lists
        std::size_t last;
    };

    std::pair<std::size_t, std::size_t> EnumerateNode(std::uint32_t node, std::uint32_t budget);

    const StructureGovernor& m_governor;
    std::uint64_t m_maxEnumerate;
    const ReadingGraph* m_graph = nullptr;
    std::vector<Cell> m_cells;
    std::vector<std::uint32_t> m_lists;     // the finished nodes' cells, one after another
    std::vector<std::uint32_t> m_pending;   // those of the nodes in work
    std::vector<Memo> m_memos;
    std::vector<std::uint32_t> m_lastMemo;   // by node
};
