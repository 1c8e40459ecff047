#pragma once

#include "brvcore/data/CancellationPoll.h"
#include "brvcore/data/Domain.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <vector>

// What the placement rule can still ask of the chain before a position, for all domains of a catalogue at once: bit d is
// the d-th domain.
struct PlacementState
{
    std::uint64_t blockedHere = 0;      // must not stand directly after the last domain
    std::uint64_t blockedForever = 0;   // must not stand after some domain before
    std::uint64_t released = 0;         // have one of the domains that they need before them

    std::uint64_t Allowed() const noexcept { return released & ~blockedHere & ~blockedForever; }
    friend bool operator==(const PlacementState&, const PlacementState&) = default;
};

// A catalogue, prepared for the search for readings: placement as bit sets, automata beside the domains.
class ReadingRules
{
public:
    struct Rule
    {
        const Domain* domain;
        const ClassAutomaton* automaton;   // null: ask match()
        std::size_t shortest;
        std::size_t longest;
        std::uint64_t blocksNext;      // domains that must not follow directly
        std::uint64_t blocksForever;   // domains that must not follow anywhere
        std::uint64_t releases;        // domains that it allows
    };

    explicit ReadingRules(const std::vector<DomainPtr>& catalogue);

    // Whether the catalogue can be prepared: 1 to 64 domains that take no empty part, placed by their sets alone, and
    // identifiers of which none begins with another, so that different sequences have different joined identifiers.
    static bool CanPrepare(const std::vector<DomainPtr>& catalogue);

    std::size_t GetCount() const noexcept { return m_rules.size(); }
    const Rule& operator[](std::size_t domain) const noexcept { return m_rules[domain]; }
    // The domains that may take a part which begins with a unit of the class.
    std::uint64_t StartingWith(CharacterClass c) const noexcept { return m_starting[static_cast<std::size_t>(c)]; }
    PlacementState StateAfter(const DomainChain* chain) const;
    PlacementState StateAfter(const PlacementState& state, std::size_t domain) const noexcept;

private:
    std::vector<Rule> m_rules;
    std::array<std::uint64_t, kCharacterClasses> m_starting{};
};

// All readings of a value: a graph from its start to its end. A node is an offset with a state of placement, an edge a part
// with its domain; a path is a structure. Only nodes and edges on paths of at most `budget` domains are kept. Edges leave a
// node in the order in which the enumeration tries domains and lengths. Nodes are numbered in the order of discovery, so
// two values have equal graphs exactly when every structure splits them alike, whatever their parts' texts and lengths.
class ReadingGraph
{
public:
    static constexpr std::uint32_t kEnd = std::numeric_limits<std::uint32_t>::max();
    struct Edge
    {
        std::uint32_t target;   // kEnd: the end of the value
        std::uint32_t domain;
        friend bool operator==(const Edge&, const Edge&) = default;
    };
    struct Node
    {
        std::uint32_t offset;
        std::uint32_t firstEdge;   // its edges end where the next node's begin
        std::uint32_t fewest;      // domains from here to the end: at least, and at most
        std::uint32_t most;
    };

    ReadingGraph(const ReadingRules& rules, const StructureGovernor& governor) : m_rules(rules), m_poll(governor) {}

    // Replaces the graph by that of the value. Nodes are found breadth first, so nothing beyond the budget is looked at.
    void Build(const Value& value, std::size_t budget, const PlacementState& start);

    bool IsEmpty() const noexcept { return m_edges.empty(); }
    const std::vector<Edge>& GetEdges() const noexcept { return m_edges; }
    // One more than there are nodes: the last one stands for the end of the value.
    const std::vector<Node>& GetNodes() const noexcept { return m_nodes; }

private:
    struct Place   // a node before it is known whether it lies on a path
    {
        std::uint32_t offset;
        std::uint32_t state;
        std::uint32_t nextAtOffset;
        std::uint32_t depth;
        std::uint32_t firstEdge;
        std::uint32_t edgeEnd;
        std::uint32_t fewest;
        std::uint32_t most;
        std::uint32_t node;
    };

    void Expand(std::uint32_t place);
    void AddByClass(std::uint32_t place, std::uint32_t domain);
    void AddByMatch(std::uint32_t place, std::uint32_t domain);
    void AddPart(std::uint32_t place, std::uint32_t domain, std::size_t end);
    void MeasurePaths();
    void KeepPaths();
    std::uint32_t FindState(const PlacementState& state);
    std::uint32_t StateAfter(std::uint32_t state, std::uint32_t domain);

    const ReadingRules& m_rules;
    CancellationPoll m_poll;
    Value m_value;
    std::size_t m_budget = 0;
    std::vector<CharacterClass> m_classes;     // of the value's units
    std::vector<PlacementState> m_states;      // kept over values
    std::vector<std::uint64_t> m_allowed;      // by state
    std::vector<std::uint32_t> m_stateAfter;   // by state and domain; filled on demand
    std::vector<std::uint32_t> m_firstAt;      // by offset: the last discovered place there
    std::vector<Place> m_places;
    std::vector<Edge> m_parts;   // edges between places
    std::vector<Node> m_nodes;
    std::vector<Edge> m_edges;
};
