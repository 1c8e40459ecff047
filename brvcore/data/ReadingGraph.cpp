#include "brvcore/data/ReadingGraph.h"

#include "brvcore/foundation/LogicException.h"

#include <algorithm>
#include <bit>
#include <string_view>

namespace
{
constexpr std::uint32_t kNone = std::numeric_limits<std::uint32_t>::max();
constexpr std::size_t kMaxDomains = 64;   // bits of a set

constexpr std::uint64_t Bit(std::size_t domain) noexcept
{
    return std::uint64_t(1) << domain;
}
}   // namespace

bool ReadingRules::CanPrepare(const std::vector<DomainPtr>& catalogue)
{
    if (catalogue.empty() || catalogue.size() > kMaxDomains)
        return false;
    return std::all_of(catalogue.begin(), catalogue.end(),
        [&](const DomainPtr& domain)
        {
            const auto collides = [&](const DomainPtr& other)
            { return &domain != &other && domain->id().StartsWith(other->id()); };
            return domain->shortest() > 0 && !domain->GetPlacement().isOwnRule && !domain->id().IsEmpty() &&
                   std::none_of(catalogue.begin(), catalogue.end(), collides);
        });
}

ReadingRules::ReadingRules(const std::vector<DomainPtr>& catalogue)
{
    m_rules.reserve(catalogue.size());
    for (std::size_t d = 0; d < catalogue.size(); ++d)
    {
        const Domain& domain = *catalogue[d];
        Rule rule{&domain, domain.GetHints().automaton, domain.shortest(), domain.longest(), 0, 0, 0};
        for (std::size_t next = 0; next < catalogue.size(); ++next)
        {
            const Domain::Placement& placement = catalogue[next]->GetPlacement();
            if (placement.notAfter.contains(domain.id()))
                rule.blocksNext |= Bit(next);
            if (placement.notAnywhereAfter.contains(domain.id()))
                rule.blocksForever |= Bit(next);
            if (placement.onlyAfter.contains(domain.id()))
                rule.releases |= Bit(next);
        }
        for (std::size_t c = 0; c < kCharacterClasses; ++c)
            if (rule.automaton == nullptr ||
                rule.automaton->Next(ClassAutomaton::kStart, static_cast<CharacterClass>(c)) != ClassAutomaton::kDead)
                m_starting[c] |= Bit(d);
        m_rules.push_back(rule);
    }
}

PlacementState ReadingRules::StateAfter(const DomainChain* chain) const
{
    PlacementState state;
    for (std::size_t d = 0; d < m_rules.size(); ++d)
    {
        const Domain::Placement& placement = m_rules[d].domain->GetPlacement();
        if (placement.onlyAfter.empty())
            state.released |= Bit(d);
        if (chain != nullptr && placement.notAfter.contains(chain->item->id()))
            state.blockedHere |= Bit(d);
        for (const DomainChain* link = chain; link != nullptr; link = link->previous)
        {
            if (placement.notAnywhereAfter.contains(link->item->id()))
                state.blockedForever |= Bit(d);
            if (placement.onlyAfter.contains(link->item->id()))
                state.released |= Bit(d);
        }
    }
    return state;
}

PlacementState ReadingRules::StateAfter(const PlacementState& state, std::size_t domain) const noexcept
{
    const Rule& rule = m_rules[domain];
    return {rule.blocksNext, state.blockedForever | rule.blocksForever, state.released | rule.releases};
}

void ReadingGraph::Build(const Value& value, std::size_t budget, const PlacementState& start)
{
    BRV_LOGIC_ASSERT(0x80B6CC7A, value.length < kEnd);
    m_value = value;
    m_budget = std::min(budget, value.length);   // no part is empty
    m_places.clear();
    m_parts.clear();
    m_nodes.clear();
    m_edges.clear();
    if (m_budget == 0)
        return;
    m_poll.Spend(value.length);
    m_classes.resize(value.length);
    std::transform(value.text, value.text + value.length, m_classes.begin(), ClassOf);
    m_firstAt.assign(value.length, kNone);
    m_places.push_back({0, FindState(start), kNone, 0, 0, 0, kNone, 0, kNone});
    m_firstAt[0] = 0;
    for (std::uint32_t place = 0; place < m_places.size(); ++place)
        Expand(place);
    MeasurePaths();
    KeepPaths();
}

void ReadingGraph::Expand(std::uint32_t place)
{
    m_places[place].firstEdge = static_cast<std::uint32_t>(m_parts.size());
    std::uint64_t domains = m_allowed[m_places[place].state] & m_rules.StartingWith(m_classes[m_places[place].offset]);
    for (; domains != 0; domains &= domains - 1)
    {
        const auto domain = static_cast<std::uint32_t>(std::countr_zero(domains));
        if (m_rules[domain].automaton != nullptr)
            AddByClass(place, domain);
        else
            AddByMatch(place, domain);
    }
    m_places[place].edgeEnd = static_cast<std::uint32_t>(m_parts.size());
}

void ReadingGraph::AddByClass(std::uint32_t place, std::uint32_t domain)
{
    const ReadingRules::Rule& rule = m_rules[domain];
    const std::size_t start = m_places[place].offset;
    const std::size_t limit = std::min(rule.longest, m_value.length - start);
    ClassAutomaton::State state = ClassAutomaton::kStart;
    std::size_t length = 0;
    while (length < limit)
    {
        state = rule.automaton->Next(state, m_classes[start + length]);
        if (state == ClassAutomaton::kDead)
            break;
        ++length;
        if (length >= rule.shortest && rule.automaton->IsAccepting(state))
            AddPart(place, domain, start + length);
    }
    m_poll.Spend(length);
}

void ReadingGraph::AddByMatch(std::uint32_t place, std::uint32_t domain)
{
    const ReadingRules::Rule& rule = m_rules[domain];
    const std::size_t start = m_places[place].offset;
    const std::size_t limit = std::min(rule.longest, m_value.length - start);
    for (std::size_t length = rule.shortest; length <= limit; ++length)
    {
        m_poll.Spend(length);
        if (rule.domain->match(m_value.Part(start, length)))
            AddPart(place, domain, start + length);
        else if (rule.domain->uniform(static_cast<unsigned>(length)))
            break;
    }
}

void ReadingGraph::AddPart(std::uint32_t place, std::uint32_t domain, std::size_t end)
{
    const std::uint32_t depth = m_places[place].depth + 1;
    if (end == m_value.length)
    {
        m_parts.push_back({kEnd, domain});
        return;
    }
    if (depth >= m_budget)
        return;   // something is left, and nothing may take it
    const std::uint32_t state = StateAfter(m_places[place].state, domain);
    if ((m_allowed[state] & m_rules.StartingWith(m_classes[end])) == 0)
        return;
    std::uint32_t target = m_firstAt[end];
    while (target != kNone && m_places[target].state != state)
        target = m_places[target].nextAtOffset;
    if (target == kNone)
    {
        target = static_cast<std::uint32_t>(m_places.size());
        m_places.push_back({static_cast<std::uint32_t>(end), state, m_firstAt[end], depth, 0, 0, kNone, 0, kNone});
        m_firstAt[end] = target;
    }
    m_parts.push_back({target, domain});
}

// From the end to the start: an edge counts when some path over it stays within the budget.
void ReadingGraph::MeasurePaths()
{
    for (std::size_t offset = m_value.length; offset-- > 0;)
        for (std::uint32_t place = m_firstAt[offset]; place != kNone; place = m_places[place].nextAtOffset)
        {
            Place& p = m_places[place];
            m_poll.Spend(p.edgeEnd - p.firstEdge);
            for (std::uint32_t e = p.firstEdge; e < p.edgeEnd; ++e)
            {
                const std::uint32_t target = m_parts[e].target;
                const std::uint32_t fewest = target == kEnd ? 0 : m_places[target].fewest;
                if (fewest == kNone || std::size_t(p.depth) + 1 + fewest > m_budget)
                {
                    m_parts[e].domain = kNone;
                    continue;
                }
                p.fewest = std::min(p.fewest, 1 + fewest);
                p.most = std::max(p.most, 1 + (target == kEnd ? 0 : m_places[target].most));
            }
        }
}

void ReadingGraph::KeepPaths()
{
    if (m_places[0].fewest == kNone)
        return;
    std::uint32_t nodes = 0;
    for (Place& place : m_places)
        if (place.fewest != kNone)
            place.node = nodes++;
    m_nodes.reserve(nodes + 1);
    for (const Place& place : m_places)
    {
        if (place.fewest == kNone)
            continue;
        m_poll.Spend(place.edgeEnd - place.firstEdge);
        m_nodes.push_back({place.offset, static_cast<std::uint32_t>(m_edges.size()), place.fewest, place.most});
        for (std::uint32_t e = place.firstEdge; e < place.edgeEnd; ++e)
            if (const Edge& part = m_parts[e]; part.domain != kNone)
                m_edges.push_back({part.target == kEnd ? kEnd : m_places[part.target].node, part.domain});
    }
    m_nodes.push_back({static_cast<std::uint32_t>(m_value.length), static_cast<std::uint32_t>(m_edges.size()), 0, 0});
}

std::uint32_t ReadingGraph::FindState(const PlacementState& state)
{
    const auto found = std::find(m_states.begin(), m_states.end(), state);
    if (found != m_states.end())
        return static_cast<std::uint32_t>(found - m_states.begin());
    m_states.push_back(state);
    m_allowed.push_back(state.Allowed());
    m_stateAfter.resize(m_stateAfter.size() + m_rules.GetCount(), kNone);
    return static_cast<std::uint32_t>(m_states.size() - 1);
}

std::uint32_t ReadingGraph::StateAfter(std::uint32_t state, std::uint32_t domain)
{
    const std::size_t slot = state * m_rules.GetCount() + domain;
    if (m_stateAfter[slot] == kNone)
    {
        const std::uint32_t next = FindState(m_rules.StateAfter(m_states[state], domain));
        m_stateAfter[slot] = next;
    }
    return m_stateAfter[slot];
}
