#include "brvcore/transforms/DistanceKernels.h"

#include "brvcore/transforms/BasicStatistics.h"

#include <bit>
#include <cfloat>
#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <vector>

#include <gtest/gtest.h>

namespace
{

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();

class DistanceKernels : public testing::TestWithParam<int>
{
protected:
    void SetUp() override
    {
        m_kernel = DistanceKernelOfLevel(GetParam());
        if (m_kernel == nullptr)
            GTEST_SKIP() << "this processor has no such instructions";
    }

    double Draw(double special)
    {
        const auto draw = static_cast<int>(m_generator() % 1000);
        return draw < 4     ? special
               : draw < 300 ? static_cast<double>(draw % 3)
                            : static_cast<double>(draw) / 137.0 - 3.0;
    }

    // A row or a centre of `cols` values, filled up with zeros.
    std::vector<double> DrawRow(int cols, double special)
    {
        std::vector<double> row(
            static_cast<std::size_t>((cols + kColumnMultiple - 1) / kColumnMultiple * kColumnMultiple));
        for (int v = 0; v < cols; ++v)
            row[static_cast<std::size_t>(v)] = Draw(special);
        return row;
    }

    const DistanceKernel* m_kernel = nullptr;
    std::mt19937 m_generator{5};
};

void ExpectBits(double actual, double expected)
{
    if (std::isnan(expected) && std::isnan(actual))
        return;
    ASSERT_EQ(std::bit_cast<std::uint64_t>(actual), std::bit_cast<std::uint64_t>(expected));
}

// All group sizes of centres and all lengths of rows around the width of the vectors; ties, missing and infinite centres.
TEST_P(DistanceKernels, NearestIsThatOfTheSingleDistance)
{
    constexpr int kTiles = 3;
    for (int cols = 1; cols <= 9; ++cols)
        for (int k = 0; k <= 11; ++k)
        {
            std::vector<std::vector<double>> rows, centres;
            std::vector<double> tiles(static_cast<std::size_t>(kTiles * cols * kTileRows)), flat;
            std::vector<double> weights, distances(kTiles * kTileRows), nearest(distances.size());
            for (std::size_t i = 0; i < distances.size(); ++i)
            {
                rows.push_back(DrawRow(cols, kInf));
                for (std::size_t v = 0; v < static_cast<std::size_t>(cols); ++v)
                    tiles[(i / kTileRows * static_cast<std::size_t>(cols) + v) * kTileRows + i % kTileRows] =
                        rows[i][v];
                weights.push_back(i % 7 == 3 ? kNaN : 0.5 + 0.25 * static_cast<double>(i % 3));
            }
            for (int c = 0; c < k; ++c)
            {
                centres.push_back(c % 4 == 3 ? centres.front() : DrawRow(cols, c % 2 == 0 ? kNaN : kInf));
                flat.insert(flat.end(), centres.back().begin(), centres.back().end());
            }
            m_kernel->findNearest(tiles.data(), kTiles,
                {flat.data(), rows[0].size(), static_cast<std::size_t>(cols), k}, weights.data(), distances.data(),
                nearest.data());
            for (std::size_t i = 0; i < distances.size(); ++i)
            {
                std::size_t best = 0;
                double bestDistance = DBL_MAX;
                for (std::size_t c = 0; c < centres.size(); ++c)
                    if (const double d = BasicStatistics::SquaredEuclideanDistance(rows[i], centres[c], weights[i]);
                        d < bestDistance)
                    {
                        best = c;
                        bestDistance = d;
                    }
                ExpectBits(distances[i], bestDistance);
                ASSERT_EQ(nearest[i], static_cast<double>(best)) << "columns " << cols << ", centres " << k;
            }
        }
}

TEST_P(DistanceKernels, SumsAreThoseOfTheSingleRecurrence)
{
    constexpr int kRows = 200;
    constexpr std::size_t kGroups = 3;
    for (int cols = 1; cols <= 9; ++cols)
    {
        std::vector<double> rows, weights;
        std::vector<std::int32_t> groups;
        for (int i = 0; i < kRows; ++i)
        {
            const std::vector<double> row = DrawRow(cols, cols == 9 ? kInf : 1e300);
            rows.insert(rows.end(), row.begin(), row.end());
            weights.push_back(i % 11 == 5 ? kNaN : Draw(0.5));   // every third or so is not above 0
            groups.push_back(static_cast<std::int32_t>(m_generator() % 4) - 1);
        }
        const std::size_t stride = rows.size() / kRows;
        std::vector<std::int32_t> counts(kGroups), weightedCounts(kGroups);
        std::vector<double> means(kGroups * stride), m2 = means, weightedMeans = means, weightedM2 = means,
                                                     sums(kGroups);
        m_kernel->addRows(rows.data(), kRows, groups.data(), {counts.data(), nullptr, means.data(), m2.data(), stride});
        m_kernel->addWeightedRows(rows.data(), kRows, groups.data(), weights.data(),
            {weightedCounts.data(), sums.data(), weightedMeans.data(), weightedM2.data(), stride});

        for (std::size_t g = 0; g < kGroups; ++g)
            for (std::size_t v = 0; v < static_cast<std::size_t>(cols); ++v)
            {
                int n = 0, weightedN = 0;
                double mean = 0.0, spread = 0.0, W = 0.0, weightedMean = 0.0, weightedSpread = 0.0;
                for (std::size_t i = 0; i < kRows; ++i)
                {
                    const double x = rows[i * stride + v];
                    if (groups[i] != static_cast<int>(g))
                        continue;
                    BasicStatistics::VarianceIterative(x, n, mean, spread);
                    if (!(weights[i] > 0.0))
                        continue;
                    ++weightedN;
                    W += weights[i];
                    const double d = (x - weightedMean) * weights[i];
                    weightedMean += d / W;
                    weightedSpread += (x - weightedMean) * d;
                }
                ASSERT_EQ(counts[g], n);
                ASSERT_EQ(weightedCounts[g], weightedN);
                ExpectBits(means[g * stride + v], mean);
                ExpectBits(m2[g * stride + v], spread);
                ExpectBits(sums[g], W);
                ExpectBits(weightedMeans[g * stride + v], weightedMean);
                ExpectBits(weightedM2[g * stride + v], weightedSpread);
            }
    }
}

INSTANTIATE_TEST_SUITE_P(Level, DistanceKernels, testing::Values(0, 1));

}   // namespace
