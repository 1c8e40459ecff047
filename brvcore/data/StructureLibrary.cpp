#include "brvcore/data/StructureLibrary.h"

#include "brvcore/data/CancellationPoll.h"
#include "brvcore/data/ParallelFor.h"
#include "brvcore/data/ReadingEnumerator.h"
#include "brvcore/data/ReadingGraph.h"
#include "brvcore/data/SampleGroups.h"
#include "brvcore/data/SequenceTally.h"
#include "brvcore/data/StructureScore.h"
#include "brvcore/foundation/LogicException.h"

#include <algorithm>
#include <limits>
#include <set>

namespace
{
// A structure in the ranking. Until it is scored its domains are those of the catalogue, or what pruning put in their place.
struct Candidate
{
    StructurePtr structure;
    std::vector<unsigned char> sequence;   // catalogue positions of the enumerated structure
    bool isEnumerated = false;             // the structure is the enumerated one, and samples are grouped
    double score = 0.0;
};

StructurePtr MakeStructure(const std::vector<DomainPtr>& catalogue, DomainSequence sequence)
{
    std::vector<DomainPtr> domains(sequence.size());
    std::transform(
        sequence.begin(), sequence.end(), domains.begin(), [&](unsigned char domain) { return catalogue[domain]; });
    return MakeRefCnt<Structure>(std::move(domains));
}

constexpr std::size_t kStepsPerStructure = 256;   // to build one, or ask for its identifier

// The best of [0, count) by isWorse(a, b), best first, as long as keep(i) has not kept `limit` of them. There may be many
// millions, and keep() may reject most: the governor is asked while they are compared.
template <class IsWorse, class Keep>
void KeepBest(std::size_t count, const StructureGovernor& governor, const IsWorse& isWorse, const Keep& keep)
{
    constexpr std::size_t kStepsPerComparison = 8;   // memory all over the place
    CancellationPoll poll(governor);
    const auto compare = [&](std::uint32_t a, std::uint32_t b)
    {
        poll.Spend(kStepsPerComparison);
        return isWorse(a, b);
    };
    std::vector<std::uint32_t> heap;
    heap.reserve(count);
    for (std::size_t i = 0; i < count; ++i)
    {
        poll.Spend(1);
        heap.push_back(static_cast<std::uint32_t>(i));
    }
    std::make_heap(heap.begin(), heap.end(), compare);
    const std::uint64_t limit = governor.GetMaxEnumerate();
    for (std::uint64_t kept = 0; kept < limit && !heap.empty();)
    {
        poll.Spend(kStepsPerStructure);
        std::pop_heap(heap.begin(), heap.end(), compare);
        kept += keep(heap.back()) ? 1 : 0;
        heap.pop_back();
    }
}

std::vector<Candidate> CandidatesOfGroups(const Library& library, const SampleGroups& groups)
{
    const SequenceTally tally(groups.GetGroups(), library.GetGovernor());
    std::vector<Candidate> candidates;
    KeepBest(
        tally.GetSize(), library.GetGovernor(),
        [&](std::uint32_t a, std::uint32_t b)
        {
            return tally[a].count != tally[b].count ? tally[a].count < tally[b].count
                                                    : tally[a].GetSequence() > tally[b].GetSequence();
        },
        [&](std::uint32_t e)
        {
            const DomainSequence sequence = tally[e].GetSequence();
            const StructurePtr enumerated = MakeStructure(library.GetCatalogue(), sequence);
            StructurePtr pruned = library.PruneStructure(enumerated);
            if (pruned == nullptr)
                return false;
            const bool isEnumerated = pruned == enumerated;
            candidates.push_back(
                {std::move(pruned), std::vector<unsigned char>(sequence.begin(), sequence.end()), isEnumerated, 0.0});
            return true;
        });
    return candidates;
}

std::vector<Candidate> CandidatesOfCounts(const Library& library, const StructureCounts& counts)
{
    struct Counted
    {
        double count;
        std::vector<unsigned char> sequence;
        TString id;
        StructurePtr structure;
    };
    const std::vector<DomainPtr>& catalogue = library.GetCatalogue();
    std::vector<Counted> all;
    const auto expanded = counts.Expand();
    all.reserve(expanded.size());
    CancellationPoll poll(library.GetGovernor());
    for (const auto& [id, counted] : expanded)
    {
        poll.Spend(kStepsPerStructure);
        std::vector<unsigned char> sequence;
        for (const DomainPtr& domain : counted.structure->domains())
        {
            const auto position = std::find(catalogue.begin(), catalogue.end(), domain) - catalogue.begin();
            sequence.push_back(static_cast<unsigned char>(std::min<std::ptrdiff_t>(position, 0xFF)));
        }
        all.push_back({counted.count, std::move(sequence), id, counted.structure});
    }
    std::vector<Candidate> candidates;
    KeepBest(
        all.size(), library.GetGovernor(),
        [&](std::uint32_t a, std::uint32_t b)
        {
            if (all[a].count != all[b].count)
                return all[a].count < all[b].count;
            return all[a].sequence != all[b].sequence ? all[a].sequence > all[b].sequence : all[a].id > all[b].id;
        },
        [&](std::uint32_t c)
        {
            StructurePtr pruned = library.PruneStructure(all[c].structure);
            if (pruned != nullptr)
                candidates.push_back({pruned, std::move(all[c].sequence), false, 0.0});
            return pruned != nullptr;
        });
    return candidates;
}
}   // namespace

StructureCounts::StructureCounts() = default;

StructureCounts::~StructureCounts() = default;

StructureCounts::StructureCounts(StructureCounts&& other) noexcept = default;

StructureCounts& StructureCounts::operator=(StructureCounts&& other) noexcept = default;

void StructureCounts::Add(const StructurePtr& structure, const Value& sample)
{
    CountedStructure& counted = m_counts[structure->id()];
    counted.count += 1.0;
    if (counted.structure == nullptr || &sample < counted.lowest)
    {
        counted.structure = structure;
        counted.lowest = &sample;
    }
}

void StructureCounts::Merge(StructureCounts&& other)
{
    for (auto& [id, theirs] : other.m_counts)
    {
        CountedStructure& ours = m_counts[id];
        const double count = ours.count + theirs.count;
        if (ours.structure == nullptr || theirs.lowest < ours.lowest)
            ours = std::move(theirs);
        ours.count = count;
    }
    if (m_groups == nullptr)
        m_groups = std::move(other.m_groups);
    else if (other.m_groups != nullptr)
        m_groups->Merge(std::move(*other.m_groups));
    other.m_counts.clear();
    other.m_groups.reset();
}

std::unordered_map<TString, CountedStructure> StructureCounts::Expand() const
{
    std::unordered_map<TString, CountedStructure> result = m_counts;
    if (m_groups == nullptr)
        return result;
    const SequenceTally tally(m_groups->GetGroups(), StructureGovernor());   // not to be cancelled
    for (std::size_t e = 0; e < tally.GetSize(); ++e)
    {
        const SequenceTally::Entry& entry = tally[e];
        const StructurePtr structure = MakeStructure(m_groups->GetCatalogue(), entry.GetSequence());
        CountedStructure& counted = result[structure->id()];
        counted.count += static_cast<double>(entry.count);
        counted.structure = structure;
    }
    return result;
}

Library::Library(const StructureGovernor& governor) : m_governor(governor) {}

Library::~Library() = default;

void Library::EnumerateSamples(StructureCounts& counts, const Value* first, const Value* last) const
{
    if (counts.m_groups == nullptr && ReadingRules::CanPrepare(m_catalogue))
        counts.m_groups = std::make_unique<SampleGroups>(m_catalogue, m_governor);
    for (const Value* sample = first; sample != last; ++sample)
    {
        m_governor.ThrowIfCancelled();
        if (counts.m_groups != nullptr)
        {
            counts.m_groups->Add(*sample);
            continue;
        }
        std::set<TString> seen;
        for (const StructurePtr& structure : EnumerateValue(m_governor.GetDepth(), *sample, nullptr))
            if (seen.insert(structure->id()).second)
                counts.Add(structure, *sample);
    }
}

StructurePtr Library::PruneStructure(const StructurePtr& structure) const
{
    return structure;
}

std::vector<StructurePtr> Library::EnumerateValue(
    std::size_t budget, const Value& value, const DomainChain* chain) const
{
    budget = std::min<std::size_t>(budget, StructureGovernor::kDeepest);
    if (!ReadingRules::CanPrepare(m_catalogue))
        return EnumeratePlainly(budget, value, chain);
    const ReadingRules rules(m_catalogue);
    ReadingGraph graph(rules, m_governor);
    graph.Build(value, budget, rules.StateAfter(chain));
    if (graph.IsEmpty())
        return {};
    ReadingEnumerator enumerator(m_governor);
    const std::vector<std::uint32_t> cells = enumerator.Enumerate(graph, budget);
    std::vector<StructurePtr> structures(cells.size());
    std::transform(cells.begin(), cells.end(), structures.begin(),
        [&](std::uint32_t cell)
        {
            std::vector<DomainPtr> domains;
            for (; cell != ReadingEnumerator::kLast; cell = enumerator[cell].next)
                domains.push_back(m_catalogue[enumerator[cell].domain]);   // few
            return MakeRefCnt<Structure>(std::move(domains));
        });
    return structures;
}

std::vector<StructurePtr> Library::EnumeratePlainly(
    std::size_t budget, const Value& value, const DomainChain* chain) const
{
    std::vector<StructurePtr> result;
    if (budget == 0 || value.length == 0)
        return result;
    const std::uint64_t maxEnumerate = m_governor.GetMaxEnumerate();
    for (const DomainPtr& domain : m_catalogue)
    {
        if (domain->isRedundantAfter(chain))
            continue;
        const std::size_t limit = std::min<std::size_t>(value.length, domain->longest());
        for (std::size_t length = domain->shortest(); length <= limit; ++length)
        {
            m_governor.ThrowIfCancelled();
            if (result.size() > maxEnumerate)
                break;
            if (!domain->match(value.Part(0, length)))
            {
                if (domain->uniform(static_cast<unsigned>(length)))
                    break;
                continue;
            }
            if (length == value.length)
            {
                result.push_back(MakeRefCnt<Structure>(std::vector<DomainPtr>{domain}));
                break;
            }
            const DomainChain link{chain, domain};
            for (const StructurePtr& rest :
                EnumeratePlainly(budget - 1, value.Part(length, value.length - length), &link))
                result.push_back(MakeRefCnt<Structure>(domain, rest->domains()));
        }
    }
    return result;
}

std::vector<RankedStructure> Library::RankSamples(const std::vector<Value>& samples) const
{
    BRV_LOGIC_ASSERT(0x90B5677F, samples.size() <= std::numeric_limits<unsigned>::max());
    PerThread<StructureCounts> countsByThread;
    ParallelFor(static_cast<unsigned>(samples.size()), [&](unsigned first, unsigned last)
        { EnumerateSamples(countsByThread.Local(), samples.data() + first, samples.data() + last); });
    m_governor.ThrowIfCancelled();
    StructureCounts counts;
    for (StructureCounts* const local : countsByThread.GetAll())
        counts.Merge(std::move(*local));

    // Counts beside the groups come from subclasses and catalogues that cannot be grouped.
    const SampleGroups* const groups = counts.m_counts.empty() ? counts.m_groups.get() : nullptr;
    std::vector<Candidate> candidates =
        groups != nullptr ? CandidatesOfGroups(*this, *groups) : CandidatesOfCounts(*this, counts);

    const StructureScorer scorer(*this, samples);
    ParallelFor(static_cast<unsigned>(candidates.size()),
        [&](unsigned first, unsigned last)
        {
            for (unsigned c = first; c < last; ++c)
            {
                Candidate& candidate = candidates[c];
                const DomainSequence sequence(candidate.sequence.data(), candidate.sequence.size());
                const ScoredStructure scored = candidate.isEnumerated
                                                   ? scorer.Score(*candidate.structure, sequence, *groups)
                                                   : scorer.Score(*candidate.structure);
                const bool isKept = scored.parsed > 1 || samples.size() == 1;
                candidate.structure = isKept ? scored.structure : nullptr;
                candidate.score = scored.score;
            }
        });
    std::erase_if(candidates, [](const Candidate& candidate) { return candidate.structure == nullptr; });
    // Candidates come ordered by count; scores alone decide, then positions.
    std::sort(candidates.begin(), candidates.end(),
        [](const Candidate& a, const Candidate& b)
        { return a.score != b.score ? a.score < b.score : a.sequence < b.sequence; });
    std::vector<RankedStructure> ranked;
    ranked.reserve(candidates.size());
    for (Candidate& candidate : candidates)
        ranked.emplace_back(candidate.score, std::move(candidate.structure));
    return ranked;
}
