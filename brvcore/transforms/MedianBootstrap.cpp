#include "brvcore/transforms/MedianBootstrap.h"

#include "brvcore/foundation/CancellationChecker.h"
#include "brvcore/transforms/MersenneTwister.h"
#include "brvcore/transforms/QuantilePosition.h"
#include "brvcore/transforms/RunningVariance.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>

// A sample of ascending values is a sample of ranks, and its median needs no sorting: count how often each rank was
// drawn, then walk up the counts to the middle. The draws and the medians are those of the plain bootstrap.

namespace
{

constexpr std::uint32_t kSeed = 13579;
constexpr std::size_t kFewValues = 10;

int SampleCount(std::size_t n)
{
    return n <= kFewValues ? 400000 : n <= 100 ? 10000 : 1000;
}

// x % n by two multiplications, exact for 32-bit operands: D. Lemire, O. Kaser and N. Kurz, "Faster remainder by direct
// computation", Software: Practice and Experience 49 (2019).
class Remainder
{
public:
    explicit Remainder(std::size_t n) : m_n(n), m_inverse(~std::uint64_t{0} / n + 1) {}

    std::size_t operator()(std::uint32_t x) const
    {
        if (m_n > UINT32_MAX) [[unlikely]]
            return x;
        return static_cast<std::size_t>((static_cast<Wide>(m_inverse * x) * m_n) >> 64);
    }

private:
    __extension__ using Wide = unsigned __int128;

    std::uint64_t m_n;
    std::uint64_t m_inverse;
};

// Up to ten counts in one word, six bits each.
class PackedCounts
{
public:
    explicit PackedCounts(std::size_t) {}

    void Clear() { m_counts = 0; }
    void Add(std::size_t rank) { m_counts += std::uint64_t{1} << (kBits * rank); }

    // Ranks of the order statistics `lower` and, if `both`, lower + 1.
    void Find(std::size_t lower, bool both, std::size_t& first, std::size_t& second) const
    {
        const std::uint64_t upTo = m_counts * kOnes;   // field i: how many draws have a rank of at most i
        first = FirstAbove(upTo, lower);
        second = both ? FirstAbove(upTo, lower + 1) : first;
    }

private:
    static constexpr unsigned kBits = 6;
    static constexpr std::uint64_t kOnes = 0x0041041041041041;   // 1 in each of the ten fields
    static constexpr std::uint64_t kTops = kOnes << (kBits - 1);

    // The first field above k. No field exceeds ten, so adding 31 - k sets its top bit exactly then.
    static std::size_t FirstAbove(std::uint64_t fields, std::size_t k)
    {
        return static_cast<std::size_t>(std::countr_zero((fields + (31 - k) * kOnes) & kTops)) / kBits;
    }

    std::uint64_t m_counts = 0;
};

// Any number of counts. Whole blocks are added up until the one with the middle is found.
class BlockCounts
{
public:
    explicit BlockCounts(std::size_t n) : m_counts((n + kBlock - 1) / kBlock * kBlock) {}

    void Clear() { std::fill(m_counts.begin(), m_counts.end(), 0u); }
    void Add(std::size_t rank) { ++m_counts[rank]; }

    void Find(std::size_t lower, bool both, std::size_t& first, std::size_t& second) const
    {
        std::size_t below = 0;
        std::size_t rank = 0;
        for (;; rank += kBlock)
        {
            std::uint32_t sum = 0;
            for (std::size_t i = 0; i < kBlock; ++i)
                sum += m_counts[rank + i];
            if (below + sum > lower)
                break;
            below += sum;
        }
        while ((below += m_counts[rank]) <= lower)
            ++rank;
        first = rank;
        if (both && below <= lower + 1)
            while (m_counts[++rank] == 0)
                ;
        second = rank;
    }

private:
    static constexpr std::size_t kBlock = 16;

    std::vector<std::uint32_t> m_counts;
};

template <typename Counts> double Deviation(const std::vector<double>& sorted)
{
    const std::size_t n = sorted.size();
    const QuantilePosition middle = FindQuantile(n, 0.5);
    const bool between = middle.fraction != 0.0;
    const Remainder remainder(n);
    MersenneTwister draw(kSeed);
    Counts counts(n);
    RunningVariance medians;
    CancellationChecker checker(n <= 100 ? 1000 : 1);   // a replicate of many values is work enough between two looks
    for (int left = SampleCount(n); left > 0; --left)
    {
        checker.ThrowIfCancelled();
        counts.Clear();
        for (std::size_t i = 0; i < n; ++i)
            counts.Add(remainder(draw()));
        std::size_t first = 0;
        std::size_t second = 0;
        counts.Find(middle.lower, between, first, second);
        const double low = sorted[first];
        medians.Add(between ? low + middle.fraction * (sorted[second] - low) : low);
    }
    return std::sqrt(medians.m2 / static_cast<double>(medians.n));   // no median: 0 / 0
}

}   // namespace

double MedianBootstrapDeviation(const std::vector<double>& sorted)
{
    return sorted.size() <= kFewValues ? Deviation<PackedCounts>(sorted) : Deviation<BlockCounts>(sorted);
}
