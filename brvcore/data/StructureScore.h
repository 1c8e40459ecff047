#pragma once

#include "brvcore/data/SampleGroups.h"
#include "brvcore/data/StructureLibrary.h"

#include <cstdint>
#include <vector>

// A candidate after scoring.
struct ScoredStructure
{
    double score = 0.0;
    StructurePtr structure;     // with narrowed domains; null when the library rejected it
    std::uint64_t parsed = 0;   // samples that it splits
};

// The description length of structures in bits. With N samples, m of them split by the structure, k domains, and a catalogue
// of D domains:
//
//     A     = sum over split samples and parts of  log2(max(cardinality(n), 1)) - 8 n
//     P     = min(greatest longest(), greatest sample - sum of shortest() + greatest shortest())
//     score = 8 floor(mean length) + m/N A/N + k m/N log2(P) + k log2(D)
//
// Domains are first narrowed to the parts that they take of the samples. Sums run in the order of the samples.
class StructureScorer
{
public:
    StructureScorer(const Library& library, const std::vector<Value>& samples);

    // By splitting every sample.
    ScoredStructure Score(const Structure& candidate) const;
    // The same for a sequence of catalogue domains, from what is known about groups of the samples where that says all.
    ScoredStructure Score(const Structure& candidate, DomainSequence domains, const SampleGroups& groups) const;

private:
    ScoredStructure ScoreNarrowed(const StructurePtr& structure) const;
    double GetScore(const Structure& structure, std::uint64_t parsed, double bits) const;

    const Library& m_library;
    const std::vector<Value>& m_samples;
    std::uint64_t m_totalLength = 0;
    std::uint64_t m_maxLength = 0;
};
