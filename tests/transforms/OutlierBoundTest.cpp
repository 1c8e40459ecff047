#include "brvcore/transforms/OutlierBound.h"

#include "brvcore/foundation/CancellationChecker.h"
#include "tests/transforms/PlainKMeans.h"

#include <cmath>
#include <cstddef>
#include <limits>
#include <random>
#include <vector>

#include <gtest/gtest.h>

namespace
{

// Values with one or two gaps of every width near the top, on scales from one end of the numbers to the other, with ties, at
// levels that make the histogram certain, uncertain and useless.
TEST(OutlierBound, TheHistogramDecidesAsSortingDoes)
{
    std::mt19937 generator(17);
    const auto unit = [&] { return static_cast<double>(generator()) / 4294967296.0; };
    OutlierScratch scratch;
    int found = 0, none = 0;
    for (int round = 0; round < 8000; ++round)
    {
        const std::size_t n = round % 10 == 0 ? 2000 : 200 + generator() % 400;
        const double scales[] = {1.0, 1e-3, 1e307, 1e-300, 4e-320, 1e270};
        const double scale = generator() % 2 == 0 ? 1.0 : scales[generator() % 6];
        const double shift = generator() % 3 == 0 ? 1000.0 * unit() : 0.0;
        const bool hasTies = generator() % 3 == 0;
        const double power = 0.5 + 4.0 * unit();
        const double gapAt = 0.7 + 0.3 * unit(), gap = 0.8 * unit(), second = 0.9 + 0.1 * unit(), secondGap = unit();
        std::vector<double> values(n);
        for (double& x : values)
        {
            const double u = unit();
            x = std::pow(u, power) + (u > gapAt ? gap : 0.0) + (u > second ? secondGap : 0.0);
            x = (shift + (hasTies ? std::floor(20.0 * x) / 20.0 : x)) * scale;
        }
        if (generator() % 10 == 0)
            values[generator() % n] = generator() % 2 == 0 ? std::numeric_limits<double>::quiet_NaN()
                                                           : std::numeric_limits<double>::infinity();
        const double alphas[] = {0.05, 0.3, 0.6, 0.9, 1e-6, 1.0, 3.0, 0.0, -1.0};
        const double alpha = alphas[generator() % 9];
        const double expected = FindOutlierBoundBySorting(values, alpha, scratch);
        const double actual = FindOutlierBound(values, alpha, scratch);
        const double plain = round % 4 == 0 ? expected : PlainKMeans::Bound(values, alpha);
        ASSERT_TRUE(plain == expected || (std::isnan(plain) && std::isnan(expected)))
            << "round " << round << ": " << expected << " instead of " << plain;
        ASSERT_TRUE(actual == expected || (std::isnan(actual) && std::isnan(expected)))
            << "round " << round << ": " << actual << " instead of " << expected;
        ++(std::isnan(expected) ? none : found);
    }
    EXPECT_GT(found, 1500);
    EXPECT_GT(none, 1500);
}

// How often FindOutlierBound asks whether to go on; at `last` it is told to stop.
int CountQuestions(const std::vector<double>& values, bool isSorting, int last, bool& wasCancelled)
{
    OutlierScratch scratch;
    int asked = 0;
    const CancellationScope scope([&] { return ++asked == last; });
    wasCancelled = false;
    try
    {
        (isSorting ? FindOutlierBoundBySorting : FindOutlierBound)(values, 0.05, scratch);
    }
    catch (const CancelledException&)
    {
        wasCancelled = true;
    }
    return asked;
}

// A loop over n values asks once in a thousand.
TEST(OutlierBound, AsksInEveryLoop)
{
    std::vector<double> even(2500);
    for (std::size_t i = 0; i < even.size(); ++i)
        even[i] = static_cast<double>(i);
    std::vector<double> withOutlier = even;
    withOutlier.back() = 1e5;
    std::vector<double> withInfinite = even;
    withInfinite.back() = std::numeric_limits<double>::infinity();
    bool wasCancelled = false;
    EXPECT_EQ(CountQuestions(even, false, 0, wasCancelled), 2 * 3) << "limits and histogram";
    EXPECT_EQ(CountQuestions(withOutlier, false, 0, wasCancelled), 3 * 3) << "and the neighbours of the gap";
    EXPECT_EQ(CountQuestions(withInfinite, false, 0, wasCancelled), 4 * 3) << "limits, copy, limits, histogram";

    // 100 questions for the limits, 51 for the gaps from the middle up; finding the middle compares every value.
    std::vector<double> many(100'000);
    std::mt19937 generator(3);
    for (double& x : many)
        x = static_cast<double>(generator());
    EXPECT_GE(CountQuestions(many, true, 0, wasCancelled), 100 + 99 + 51);
    EXPECT_FALSE(wasCancelled);
    EXPECT_EQ(CountQuestions(many, true, 101, wasCancelled), 101);
    EXPECT_TRUE(wasCancelled) << "while sorting";
}

}   // namespace
