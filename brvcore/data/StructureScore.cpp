#include "brvcore/data/StructureScore.h"

#include "brvcore/data/CancellationPoll.h"
#include "brvcore/data/LeftRight.h"

#include <algorithm>
#include <utility>

namespace
{
std::vector<DomainPtr> MakeStatistics(const Structure& structure)
{
    std::vector<DomainPtr> statistics;
    statistics.reserve(structure.domains().size());
    for (const DomainPtr& domain : structure.domains())
        statistics.push_back(domain->makeStatsDomain());
    return statistics;
}

StructurePtr Narrow(const std::vector<DomainPtr>& statistics)
{
    std::vector<DomainPtr> narrowed;
    narrowed.reserve(statistics.size());
    for (const DomainPtr& domain : statistics)
        narrowed.push_back(domain->parameterise());
    return MakeRefCnt<Structure>(std::move(narrowed));
}

bool AreByDistinctTexts(const std::vector<DomainPtr>& statistics)
{
    return std::all_of(statistics.begin(), statistics.end(),
        [](const DomainPtr& domain) { return domain->GetHints().isByDistinctTexts; });
}

constexpr std::size_t kStepsPerItem = 64;   // what a sample or group costs beside its length

// The paths of a structure in the groups that it splits.
struct GroupPaths
{
    std::vector<const SampleGroup*> groups;
    std::vector<std::uint32_t> edges;   // one path after another
    std::uint64_t parsed = 0;           // samples of the groups
};

GroupPaths FindPaths(DomainSequence domains, const SampleGroupList& groups, CancellationPoll& poll)
{
    GroupPaths paths;
    std::vector<std::uint32_t> path;
    for (const SampleGroup& group : groups)
    {
        poll.Spend(kStepsPerItem);
        if (!group.FindPath(domains, path, poll))
            continue;
        paths.groups.push_back(&group);
        paths.edges.insert(paths.edges.end(), path.begin(), path.end());
        paths.parsed += group.GetCount();
    }
    return paths;
}

// Shows every domain one part, and another one where parts differ.
void UpdateStatistics(const GroupPaths& paths, const std::vector<DomainPtr>& statistics, CancellationPoll& poll)
{
    std::vector<Value> first(statistics.size());
    std::vector<bool> isSettled(statistics.size());
    for (std::size_t g = 0; g < paths.groups.size(); ++g)
    {
        const SampleGroup& group = *paths.groups[g];
        poll.Spend(kStepsPerItem);
        std::uint32_t node = 0;
        for (std::size_t i = 0; i < statistics.size(); ++i)
        {
            const std::uint32_t edge = paths.edges[g * statistics.size() + i];
            if (!isSettled[i])
            {
                const Value part = group.GetPart(node, edge);
                poll.Spend(part.length);
                if (g == 0)
                {
                    first[i] = part;
                    statistics[i]->updateStats(part);
                }
                const Value other = first[i].View() != part.View() ? part : group.GetSums(edge).other;
                if (other.text != nullptr)
                {
                    statistics[i]->updateStats(other);
                    isSettled[i] = true;
                }
            }
            node = group.GetEdges()[edge].target;
        }
    }
}

std::int64_t SumUnits(const GroupPaths& paths, const std::vector<DomainPtr>& narrowed, CancellationPoll& poll)
{
    constexpr auto kUnitsPerCodeUnit = static_cast<std::int64_t>(8.0 / DescriptionBits::kUnit);
    std::int64_t units = 0;
    for (std::size_t g = 0; g < paths.groups.size(); ++g)
    {
        poll.Spend(kStepsPerItem);
        for (std::size_t i = 0; i < narrowed.size(); ++i)
        {
            const SampleGroup::PartSums& sums = paths.groups[g]->GetSums(paths.edges[g * narrowed.size() + i]);
            // A literal admits one part: its logarithm is 0.
            units += narrowed[i]->constant() ? -kUnitsPerCodeUnit * static_cast<std::int64_t>(sums.length) : sums.units;
        }
    }
    return units;
}
}   // namespace

StructureScorer::StructureScorer(const Library& library, const std::vector<Value>& samples)
    : m_library(library), m_samples(samples)
{
    for (const Value& sample : samples)
    {
        m_totalLength += sample.length;
        m_maxLength = std::max<std::uint64_t>(m_maxLength, sample.length);
    }
}

ScoredStructure StructureScorer::Score(const Structure& candidate) const
{
    const std::vector<DomainPtr> statistics = MakeStatistics(candidate);
    const DomainPtr* const domains = candidate.domains().data();
    ScoredStructure result;
    CancellationPoll poll(m_library.GetGovernor());
    for (std::size_t s = 0; s < m_samples.size(); ++s)
    {
        poll.Spend(kStepsPerItem);
        const std::vector<std::size_t> ends = LeftRight(m_samples[s], domains, domains + statistics.size(), 0, &poll);
        result.parsed += ends.empty() ? 0 : 1;
        for (std::size_t i = 0, start = 0; i < ends.size(); start = ends[i++])
            statistics[i]->updateStats(m_samples[s].Part(start, ends[i] - start));
    }
    result.structure = m_library.PruneStructure(Narrow(statistics));
    return result.structure == nullptr ? result : ScoreNarrowed(result.structure);
}

ScoredStructure StructureScorer::Score(
    const Structure& candidate, DomainSequence domains, const SampleGroups& groups) const
{
    const std::vector<DomainPtr> statistics = MakeStatistics(candidate);
    if (!AreByDistinctTexts(statistics))
        return Score(candidate);
    CancellationPoll poll(m_library.GetGovernor());
    const GroupPaths paths = FindPaths(domains, groups.GetGroups(), poll);
    UpdateStatistics(paths, statistics, poll);
    const StructurePtr narrowed = Narrow(statistics);
    ScoredStructure result{0.0, m_library.PruneStructure(narrowed), paths.parsed};
    if (result.structure == nullptr)
        return result;
    // Narrowed domains accept the parts that they were shown and nothing that their originals do not, so every sample is
    // split as before, or not at all.
    const std::int64_t units = SumUnits(paths, narrowed->domains(), poll);
    if (result.structure != narrowed || !groups.IsExact(units))
        return ScoreNarrowed(result.structure);
    result.score = GetScore(*narrowed, paths.parsed, static_cast<double>(units) * DescriptionBits::kUnit);
    return result;
}

ScoredStructure StructureScorer::ScoreNarrowed(const StructurePtr& structure) const
{
    const std::vector<DomainPtr>& domains = structure->domains();
    std::vector<DescriptionBits> bitsOf;
    bitsOf.reserve(domains.size());
    for (const DomainPtr& domain : domains)
        bitsOf.emplace_back(*domain);
    ScoredStructure result{0.0, structure, 0};
    double bits = 0.0;
    CancellationPoll poll(m_library.GetGovernor());
    for (std::size_t s = 0; s < m_samples.size(); ++s)
    {
        poll.Spend(kStepsPerItem);
        const std::vector<std::size_t> ends =
            LeftRight(m_samples[s], domains.data(), domains.data() + domains.size(), 0, &poll);
        result.parsed += ends.empty() ? 0 : 1;
        for (std::size_t i = 0, start = 0; i < ends.size(); start = ends[i++])
            bits += bitsOf[i].Get(ends[i] - start);
    }
    result.score = GetScore(*structure, result.parsed, bits);
    return result;
}

double StructureScorer::GetScore(const Structure& structure, std::uint64_t parsed, double bits) const
{
    double sumShortest = 0.0;
    double greatestShortest = 0.0;
    double greatestLongest = 0.0;
    for (const DomainPtr& domain : structure.domains())
    {
        const double shortest = domain->shortest();
        sumShortest += shortest;
        greatestShortest = std::max(greatestShortest, shortest);
        greatestLongest = std::max<double>(greatestLongest, domain->longest());
    }
    // Below 1 only for a structure that splits nothing, whose positions cost nothing.
    const double positions =
        std::max(std::min(greatestLongest, static_cast<double>(m_maxLength) - sumShortest + greatestShortest), 1.0);
    const auto samples = static_cast<double>(m_samples.size());
    const double share = static_cast<double>(parsed) / samples;
    const auto domains = static_cast<double>(structure.domains().size());
    const auto meanLength = static_cast<double>(m_totalLength / m_samples.size());
    return 8.0 * meanLength + share * (bits / samples) + domains * share * static_cast<double>(SingleLog2(positions)) +
           domains * static_cast<double>(SingleLog2(static_cast<double>(m_library.GetCatalogue().size())));
}
