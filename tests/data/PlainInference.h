#pragma once

#include "brvcore/data/StructureLibrary.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <vector>

// Structure inference the slow way: one sample and one structure at a time, nothing remembered, nothing shared. What the
// library computes has to be equal, to the last bit. The domains are the library's own: what they match, count and become
// when they are narrowed is tested apart.
class PlainInference
{
public:
    PlainInference(const Library& library) : m_library(library) {}

    using Sequence = std::vector<std::size_t>;   // catalogue positions

    std::vector<Sequence> EnumerateValue(std::size_t budget, const Value& value, const DomainChain* chain) const
    {
        std::vector<Sequence> result;
        if (budget == 0 || value.length == 0)
            return result;
        for (std::size_t d = 0; d < m_library.GetCatalogue().size(); ++d)
        {
            const DomainPtr& domain = m_library.GetCatalogue()[d];
            if (domain->isRedundantAfter(chain))
                continue;
            const std::size_t limit = std::min<std::size_t>(value.length, domain->longest());
            for (std::size_t length = domain->shortest(); length <= limit; ++length)
            {
                if (result.size() > m_library.GetGovernor().GetMaxEnumerate())
                    break;
                if (!domain->match(value.Part(0, length)))
                {
                    if (domain->uniform(static_cast<unsigned>(length)))
                        break;
                    continue;
                }
                if (length == value.length)
                {
                    result.push_back({d});
                    break;
                }
                const DomainChain link{chain, domain};
                for (const Sequence& rest :
                    EnumerateValue(budget - 1, value.Part(length, value.length - length), &link))
                {
                    result.push_back({d});
                    result.back().insert(result.back().end(), rest.begin(), rest.end());
                }
            }
        }
        return result;
    }

    // Ends of the parts, or nothing.
    static std::optional<std::vector<std::size_t>> LeftRight(
        const Value& value, const std::vector<DomainPtr>& domains, std::size_t index, std::size_t start)
    {
        if (index >= domains.size() || start >= value.length)
            return std::nullopt;
        const Domain& domain = *domains[index];
        const std::size_t limit = std::min<std::size_t>(value.length - start, domain.longest());
        const bool isLast = index + 1 == domains.size();
        for (std::size_t length = isLast ? value.length - start : domain.shortest(); length <= limit; ++length)
        {
            if (!domain.match(value.Part(start, length)))
            {
                if (domain.uniform(static_cast<unsigned>(length)))
                    return std::nullopt;
                continue;
            }
            if (isLast)
                return length < domain.shortest() ? std::nullopt : std::optional(std::vector{value.length});
            if (auto rest = LeftRight(value, domains, index + 1, start + length))
            {
                rest->insert(rest->begin(), start + length);
                return rest;
            }
        }
        return std::nullopt;
    }

    // Samples by structure. Identifiers tell sequences apart in the catalogues of these tests.
    std::map<Sequence, double> Count(const std::vector<Value>& samples) const
    {
        std::map<Sequence, double> counts;
        for (const Value& sample : samples)
        {
            std::set<Sequence> seen;
            for (const Sequence& sequence : EnumerateValue(m_library.GetGovernor().GetMaxDomains(), sample, nullptr))
                if (seen.insert(sequence).second)
                    counts[sequence] += 1.0;
        }
        return counts;
    }

    struct Ranked
    {
        double score;
        TString id;
        Sequence sequence;
    };

    std::vector<Ranked> Rank(const std::vector<Value>& samples) const
    {
        std::vector<std::pair<Sequence, double>> sorted;
        for (const auto& entry : Count(samples))
            if (m_library.PruneStructure(MakeStructure(entry.first)) != nullptr)
                sorted.emplace_back(entry);
        std::stable_sort(
            sorted.begin(), sorted.end(), [](const auto& a, const auto& b) { return a.second > b.second; });
        if (sorted.size() > m_library.GetGovernor().GetMaxEnumerate())
            sorted.resize(m_library.GetGovernor().GetMaxEnumerate());
        std::vector<Ranked> ranked;
        for (const auto& entry : sorted)
            if (const auto scored = Score(*m_library.PruneStructure(MakeStructure(entry.first)), samples))
                ranked.push_back({scored->first, scored->second->id(), entry.first});
        std::sort(ranked.begin(), ranked.end(),
            [](const Ranked& a, const Ranked& b)
            { return a.score != b.score ? a.score < b.score : a.sequence < b.sequence; });
        return ranked;
    }

    // Nothing for a structure that is dropped.
    std::optional<RankedStructure> Score(const Structure& candidate, const std::vector<Value>& samples) const
    {
        std::vector<DomainPtr> domains;
        for (const DomainPtr& domain : candidate.domains())
            domains.push_back(domain->makeStatsDomain());
        for (const Value& sample : samples)
            if (const auto ends = LeftRight(sample, candidate.domains(), 0, 0))
                for (std::size_t i = 0, start = 0; i < ends->size(); start = (*ends)[i++])
                    domains[i]->updateStats(sample.Part(start, (*ends)[i] - start));
        for (DomainPtr& domain : domains)
            domain = domain->parameterise();
        const StructurePtr structure = m_library.PruneStructure(MakeRefCnt<Structure>(domains));
        if (structure == nullptr)
            return std::nullopt;
        domains = structure->domains();

        std::size_t totalLength = 0;
        double maxLength = 0.0;
        for (const Value& sample : samples)
        {
            totalLength += sample.length;
            maxLength = std::max(maxLength, static_cast<double>(sample.length));
        }
        double longest = 0.0;
        double shortest = 0.0;
        double sumShortest = 0.0;
        for (const DomainPtr& domain : domains)
        {
            longest = std::max<double>(longest, domain->longest());
            shortest = std::max<double>(shortest, domain->shortest());
            sumShortest += domain->shortest();
        }
        const double positions = std::max(1.0, std::min(longest, maxLength - sumShortest + shortest));
        double parsed = 0.0;
        double bits = 0.0;
        for (const Value& sample : samples)
            if (const auto ends = LeftRight(sample, domains, 0, 0))
            {
                parsed += 1.0;
                for (std::size_t i = 0, start = 0; i < ends->size(); start = (*ends)[i++])
                {
                    const std::size_t length = (*ends)[i] - start;
                    const double cardinality = domains[i]->cardinality(static_cast<unsigned>(length));
                    bits += Log2(std::max(cardinality, 1.0)) - 8.0 * static_cast<double>(length);
                }
            }
        if (parsed <= 1.0 && samples.size() > 1)
            return std::nullopt;
        const auto n = static_cast<double>(samples.size());
        const auto k = static_cast<double>(domains.size());
        const double score = 8.0 * static_cast<double>(totalLength / samples.size()) + parsed / n * (bits / n) +
                             k * (parsed / n) * Log2(positions) +
                             k * Log2(static_cast<double>(m_library.GetCatalogue().size()));
        return RankedStructure(score, structure);
    }

    StructurePtr MakeStructure(const Sequence& sequence) const
    {
        std::vector<DomainPtr> domains;
        for (const std::size_t d : sequence)
            domains.push_back(m_library.GetCatalogue()[d]);
        return MakeRefCnt<Structure>(domains);
    }

private:
    static double Log2(double x) { return static_cast<float>(std::log2(x)); }

    const Library& m_library;
};
