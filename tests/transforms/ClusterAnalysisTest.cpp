#include "brvcore/transforms/ClusterAnalysis.h"

#include "brvcore/foundation/CancellationChecker.h"
#include "brvcore/foundation/MetricsScope.h"
#include "tests/support/LogicAssert.h"
#include "tests/transforms/PlainKMeans.h"
#include "tests/transforms/ReferenceData.h"

#include <algorithm>
#include <bit>
#include <cfloat>
#include <cmath>
#include <cstdint>
#include <limits>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace
{

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();
constexpr double kNoOutliers = 1e-300;   // a level at which no gap is wide enough

using Row = std::vector<double>;
using Table = std::vector<Row>;

bool IsSame(double a, double b)
{
    return std::bit_cast<std::uint64_t>(a) == std::bit_cast<std::uint64_t>(b) || (std::isnan(a) && std::isnan(b));
}

void ExpectSame(const Row& actual, const Row& expected, const char* what)
{
    ASSERT_EQ(actual.size(), expected.size()) << what;
    for (std::size_t i = 0; i < actual.size(); ++i)
        ASSERT_PRED2(IsSame, actual[i], expected[i]) << what << " " << i;
}

void ExpectSame(const Table& actual, const Table& expected, const char* what)
{
    ASSERT_EQ(actual.size(), expected.size()) << what;
    for (std::size_t i = 0; i < actual.size(); ++i)
        ExpectSame(actual[i], expected[i], what);
}

struct Settings
{
    int maxClusters;
    int maxIterations;
    double alpha;
    int numClusters;
};

// Keeps what the last scope reports.
class MetricsProbe
{
public:
    MetricsProbe() : m_sink(std::make_shared<Sink>()), m_before(SetMetricsSink(m_sink)) {}
    ~MetricsProbe() { SetMetricsSink(m_before); }
    MetricsProbe(const MetricsProbe&) = delete;
    MetricsProbe& operator=(const MetricsProbe&) = delete;

    const std::vector<std::u16string>& GetNames() const { return m_sink->names; }
    const std::map<TString, TString>& GetFacts() const { return m_sink->facts; }

private:
    struct Sink : IMetricsSink
    {
        void Write(const MetricsRecord& record) override
        {
            names.emplace_back(record.name);
            facts = record.facts;
        }
        std::vector<std::u16string> names;
        std::map<TString, TString> facts;
    };
    std::shared_ptr<Sink> m_sink;
    std::shared_ptr<IMetricsSink> m_before;
};

std::string Join(const std::vector<int>& numbers)
{
    std::string text;
    for (const int number : numbers)
        text += (text.empty() ? "" : ",") + std::to_string(number);
    return text;
}

// Every result, to the last bit, and the number of passes.
void ExpectAsPlain(ClusterKMeans& clusters, const Table& data, const Row& weights, const Settings& settings)
{
    PlainKMeans plain;
    plain.maxClusters = settings.maxClusters;
    plain.maxIterations = settings.maxIterations;
    plain.alpha = settings.alpha;
    plain.Compute(data, weights, settings.numClusters);
    clusters.m_maxClusters = settings.maxClusters;
    clusters.m_maxIterations = settings.maxIterations;
    clusters.m_outlierAlpha = settings.alpha;
    {
        const MetricsProbe probe;
        clusters.Compute(data, weights, settings.numClusters);
        EXPECT_EQ(
            probe.GetFacts(), (std::map<TString, TString>{{u"iterations", TString::FromUTF8(Join(plain.passes))}}));
    }

    EXPECT_EQ(clusters.m_nRows, static_cast<int>(data.size()));
    EXPECT_EQ(clusters.m_nCols, static_cast<int>(data[0].size()));
    ASSERT_EQ(clusters.m_nClusters, plain.K);
    EXPECT_EQ(clusters.m_nOutliers, plain.outliers);
    EXPECT_EQ(clusters.m_hasMissing, plain.hasMissing);
    EXPECT_EQ(clusters.m_assignments, plain.assignments);
    EXPECT_EQ(clusters.m_excluded, plain.excluded);
    EXPECT_EQ(clusters.m_clusterSizes, plain.sizes);
    EXPECT_EQ(clusters.m_betweenDF, std::vector<int>(data[0].size(), plain.K - 1));
    EXPECT_EQ(clusters.m_residualDF, std::vector<int>(data[0].size(), plain.residualDF));
    ExpectSame({clusters.m_totalBetweenSS, clusters.m_totalWithinSS, clusters.m_totalSS},
        {plain.betweenTotal, plain.withinTotal, plain.T}, "totals");
    ExpectSame(clusters.m_centroids, plain.centroids, "centre");
    ExpectSame(clusters.m_clusterStdDevs, plain.stdDevs, "deviation");
    ExpectSame(clusters.m_outlierBounds, plain.bounds, "bound");
    ExpectSame(clusters.m_betweenSS, plain.betweenSS, "between SS");
    ExpectSame(clusters.m_betweenMS, plain.betweenMS, "between MS");
    ExpectSame(clusters.m_residualSS, plain.residualSS, "residual SS");
    ExpectSame(clusters.m_residualMS, plain.residualMS, "residual MS");
    ExpectSame(clusters.m_fStatistics, plain.F, "F");
    ExpectSame(clusters.m_pValues, plain.p, "p");
    ExpectSame(clusters.m_distances, plain.distances, "distance");
    ExpectSame(clusters.m_weights, plain.weights, "weight");
    ExpectSame(clusters.m_chIndex, plain.ch, "index");
}

enum Kind
{
    Blobs,       // three clouds
    Grid,        // few distinct values: ties everywhere
    Identical,   // one row, again and again
    HeavyTail,   // outliers
    Infinite,    // some cells infinite
    Constant,    // the first variables do not vary
    nKinds
};

enum Weights
{
    Unit,
    Positive,
    Mixed,   // zero, negative, NaN and infinite ones among them
    Negative,
    nWeights
};

class Dice
{
public:
    explicit Dice(unsigned seed) : m_generator(seed) {}
    double Unit() { return static_cast<double>(m_generator()) / 4294967296.0; }
    int Below(int n) { return static_cast<int>(m_generator() % static_cast<unsigned>(n)); }
    double Normal() { return Unit() + Unit() + Unit() + Unit() + Unit() + Unit() - 3.0; }

private:
    std::mt19937 m_generator;
};

Table MakeTable(int n, int cols, Kind kind, double missingShare, unsigned seed)
{
    Dice dice(seed);
    Table data(static_cast<std::size_t>(n), Row(static_cast<std::size_t>(cols)));
    const double same = dice.Below(2) == 0 ? -1.5 : 2.5;
    for (Row& row : data)
    {
        const double centre = 6.0 * dice.Below(3);
        for (std::size_t v = 0; v < row.size(); ++v)
        {
            switch (kind)
            {
            case Grid:
                row[v] = dice.Below(4) - 1;
                break;
            case Identical:
                row[v] = same;
                break;
            case HeavyTail:
                row[v] = dice.Normal() * (dice.Below(15) == 0 ? 20.0 : 1.0);
                break;
            case Constant:
                row[v] = v + 1 < row.size() ? 7.0 : dice.Normal();
                break;
            default:
                row[v] = centre + dice.Normal();
            }
            if (kind == Infinite && dice.Below(40) == 0)
                row[v] = dice.Below(2) == 0 ? kInf : -kInf;
            if (dice.Unit() < missingShare)
                row[v] = kNaN;
        }
    }
    return data;
}

Row MakeWeights(int n, Weights kind, unsigned seed)
{
    Dice dice(seed);
    Row weights;
    for (int i = 0; kind != Unit && i < n; ++i)
    {
        const double positive = 0.1 + 3.0 * dice.Unit();
        const Row odd{0.0, -1.0, kNaN, kInf, -0.0, positive};
        weights.push_back(kind == Positive     ? positive
                          : kind == Negative   ? -positive
                          : dice.Below(4) == 0 ? odd[static_cast<std::size_t>(dice.Below(6))]
                                               : positive);
    }
    const auto isZero = [](double w) { return w == 0.0; };
    if (std::all_of(weights.begin(), weights.end(), isZero) && !weights.empty())
        weights[0] = 1.0;
    return weights;
}

class ClusterKMeansPlain : public testing::TestWithParam<int>
{
};

// Some thousand small tables of every kind, one object for all of them, so that nothing is left from the table before.
TEST_P(ClusterKMeansPlain, EveryResultIsThatOfThePlainLoops)
{
    const int n = GetParam();
    ClusterKMeans clusters(0, 0, 0.0, 0.0);
    int tables = 0, restored = 0, withOutliers = 0, emptied = 0;
    for (int round = 0; round < (n > 100 ? 150 : 600); ++round)
    {
        const auto seed = static_cast<unsigned>(1000 * n + round);
        Dice dice(seed);
        const int cols = 1 + dice.Below(9);
        const auto kind = static_cast<Kind>(dice.Below(nKinds));
        const Table data = MakeTable(n, cols, kind, dice.Below(3) == 0 ? 0.04 : 0.0, seed);
        const Row weights = MakeWeights(n, static_cast<Weights>(dice.Below(2) == 0 ? 0 : dice.Below(nWeights)), seed);
        const std::vector<int> iterations{0, 1, 2, 5, 40};
        const std::vector<int> given{0, 0, -3, 1, 2, 3, 5, n + 2};
        const Row alphas{0.05, 0.4, 1e-4, 0.9, 2.0, 0.0, -1.0};
        const Settings settings{dice.Below(5) == 0 ? dice.Below(4) - 1 : 12,
            iterations[static_cast<std::size_t>(dice.Below(4) == 0 ? dice.Below(5) : 4)],
            alphas[static_cast<std::size_t>(dice.Below(2) == 0 ? 0 : dice.Below(7))],
            std::min(given[static_cast<std::size_t>(dice.Below(8))], 40)};
        SCOPED_TRACE(
            "rows " + std::to_string(n) + ", round " + std::to_string(round) + ", kind " + std::to_string(kind));
        ExpectAsPlain(clusters, data, weights, settings);
        if (HasFailure())
            return;
        ++tables;
        restored += clusters.m_chIndex.size() > 2 && clusters.m_outlierBounds.size() < clusters.m_chIndex.size();
        withOutliers += clusters.m_nOutliers > 0;
        emptied += clusters.m_outlierBounds.size() > static_cast<std::size_t>(clusters.m_nClusters);
    }
    if (n >= 30)   // the cases that the tables are there for
    {
        EXPECT_GT(restored, tables / 50);
        EXPECT_GT(withOutliers, tables / 10);
        EXPECT_GT(emptied, tables / 50);
    }
}

INSTANTIATE_TEST_SUITE_P(Rows, ClusterKMeansPlain, testing::Values(1, 2, 3, 7, 8, 9, 30, 70, 600));

// Beyond the block and the histogram sizes of the fast loops.
TEST(ClusterKMeans, LargeTablesAreThoseOfThePlainLoops)
{
    ClusterKMeans clusters(0, 0, 0.0, 0.0);
    for (const Kind kind : {Blobs, HeavyTail, Grid})
        for (const double alpha : {0.05, 0.5})
            ExpectAsPlain(
                clusters, MakeTable(5000, 10, kind, 0.001, 5), MakeWeights(5000, Mixed, 7), {6, 12, alpha, 0});
}

// Four clouds ten deviations apart and one row far from all.
TEST(ClusterKMeans, FindsPlantedClusters)
{
    Dice dice(11);
    const Table centres{{0, 0, 0}, {10, 0, 5}, {0, 10, -5}, {10, 10, 0}};
    Table data;
    for (int i = 0; i < 400; ++i)
    {
        const Row& centre = centres[static_cast<std::size_t>(i % 4)];
        data.push_back({centre[0] + dice.Normal(), centre[1] + dice.Normal(), centre[2] + dice.Normal()});
    }
    data.push_back({0, 0, -15});
    data.push_back({kNaN, 0, 0});
    for (const int numClusters : {0, 4})
    {
        ClusterKMeans clusters(15, 50, 0.0, 0.01);
        clusters.Compute(data, {}, numClusters);
        ASSERT_EQ(clusters.m_nClusters, 4);
        for (std::size_t i = 0; i < 400; ++i)
            ASSERT_EQ(clusters.m_assignments[i], static_cast<int>(i % 4)) << i;
        EXPECT_EQ(clusters.m_clusterSizes, std::vector<int>(4, 100));
        EXPECT_EQ(clusters.m_nOutliers, 2) << "the far row and the one with a missing value";
        EXPECT_TRUE(clusters.m_excluded[400]);
        EXPECT_GE(clusters.m_assignments[400], 0) << "an outlier keeps its cluster";
        EXPECT_EQ(clusters.m_assignments[401], -1);
        for (std::size_t c = 0; c < 4; ++c)
            for (std::size_t v = 0; v < 3; ++v)
                EXPECT_NEAR(clusters.m_centroids[c][v], centres[c][v], 0.3);
        for (std::size_t v = 0; v < 3; ++v)
            EXPECT_LT(clusters.m_pValues[v], 1e-10);
    }
}

// Two pairs on a line. By hand: T = 101, W = 1, centres 0.5 and 10.5, so the index is 100 (N - 2) / 1.
TEST(ClusterKMeans, IndexCountsTheRowsWithoutMissingValues)
{
    const Table pairs{{0}, {1}, {10}, {11}};
    struct Case
    {
        Row extra;
        Row weights;
        double index;
        bool hasMissing;
        const char* why;
    };
    for (const Case& c : {
             Case{{}, {}, 200.0, false, "N is 4"},
             Case{{kNaN}, {}, 200.0, true, "a row with a missing value does not count"},
             Case{{55}, {1, 1, 1, 1, 0}, 300.0, false, "a row of weight 0 does"},
         })
    {
        SCOPED_TRACE(c.why);
        Table data = pairs;
        if (!c.extra.empty())
            data.push_back(c.extra);
        ClusterKMeans clusters(2, 20, 0.0, kNoOutliers);
        clusters.Compute(data, c.weights, 0);
        EXPECT_EQ(clusters.m_chIndex, (Row{0.0, c.index}));
        EXPECT_EQ(clusters.m_totalSS, 101.0);
        EXPECT_EQ(clusters.m_hasMissing, c.hasMissing);
        EXPECT_EQ(clusters.m_nOutliers, static_cast<int>(c.extra.size()));
        EXPECT_EQ(clusters.m_assignments.back(), c.extra.empty() ? 1 : -1);
        EXPECT_EQ(clusters.m_excluded.back(), !c.extra.empty());
    }
}

// R 4.2.2: pf(100 / 50.5, 1, 2, lower.tail = FALSE)
TEST(ClusterKMeans, AnalysisOfVariance)
{
    ClusterKMeans clusters(2, 20, 0.0, kNoOutliers);
    clusters.Compute({{0, 7}, {1, 7}, {10, 7}, {11, 7}}, {}, 2);
    EXPECT_EQ(clusters.m_centroids, (Table{{0.5, 7}, {10.5, 7}}));
    EXPECT_EQ(clusters.m_betweenDF, (std::vector<int>{1, 1}));
    EXPECT_EQ(clusters.m_residualDF, (std::vector<int>{2, 2}));
    EXPECT_EQ(clusters.m_betweenSS, (Row{100, 0}));
    EXPECT_NEAR(clusters.m_residualSS[0], 101.0, 1e-12) << "about the overall mean, not 1 within the clusters";
    EXPECT_NEAR(clusters.m_fStatistics[0], 100.0 / 50.5, 1e-12);
    EXPECT_NEAR(clusters.m_pValues[0], 0.29465438414140177, 1e-12);
    EXPECT_TRUE(std::isnan(clusters.m_fStatistics[1])) << "a constant variable has no residual";
    EXPECT_TRUE(std::isnan(clusters.m_pValues[1]));
    EXPECT_EQ(clusters.m_totalWithinSS, 1.0);

    clusters.Compute({{0}, {1}, {10}, {11}}, {}, 1);
    EXPECT_EQ(clusters.m_betweenDF, std::vector<int>{0});
    EXPECT_TRUE(std::isnan(clusters.m_fStatistics[0])) << "one cluster";
    EXPECT_TRUE(std::isnan(clusters.m_pValues[0]));
}

// By hand: mean (1 + 3 * 3) / 4, squares 1 * 1.5^2 + 3 * 0.5^2 = 3, deviation sqrt(2 / 1 * 3 / 4).
TEST(ClusterKMeans, WeightedStatistics)
{
    ClusterKMeans clusters(1, 20, 0.0, kNoOutliers);
    clusters.Compute({{1}, {3}, {100}}, {1, 3, -1}, 1);
    EXPECT_EQ(clusters.m_centroids, (Table{{2.5}}));
    EXPECT_NEAR(clusters.m_clusterStdDevs[0][0], std::sqrt(1.5), 1e-15);
    EXPECT_EQ(clusters.m_distances, (Row{1.0, 3.0, DBL_MAX})) << "from the unweighted centre 2, times the weight";
    clusters.Compute({{1}, {3}}, {0.25, 0.75}, 1);
    EXPECT_TRUE(std::isnan(clusters.m_clusterStdDevs[0][0])) << "weights that sum to 1 carry no deviation";
}

// The index rises up to the fourth planted cluster, so a limit of three ends the search there.
TEST(ClusterKMeans, StopsAtTheLimitWhileTheIndexRises)
{
    Table data;
    for (int i = 0; i < 80; ++i)
        data.push_back({100.0 * (i % 4) + 0.1 * (i % 7), 30.0 * ((i % 4) * (i % 4))});
    for (const int limit : {3, 10})
    {
        ClusterKMeans clusters(limit, 20, 0.0, kNoOutliers);
        clusters.Compute(data, {}, 0);
        EXPECT_EQ(clusters.m_nClusters, std::min(limit, 4));
        EXPECT_EQ(clusters.m_chIndex.size(), limit == 3 ? 3u : 5u) << "the index that fell is there to see";
        EXPECT_EQ(clusters.m_outlierBounds.size(), static_cast<std::size_t>(clusters.m_nClusters));
    }
}

// In each table both variables have the same sum of squares, and every mean on the way to it is exact.
TEST(ClusterKMeans, EqualVariancesAreSplitByRange)
{
    struct Case
    {
        Table data;
        std::vector<int> assignments;
        const char* why;
    };
    for (const Case& c :
        {
            Case{{{0, 8}, {0, 6}, {6, 6}, {6, 0}}, {0, 0, 0, 1},
                "36 about the means 3 and 5; the ranges are 6 and 8. Cut at 3, it would be two and two"},
            Case{{{-10, 10}, {10, -10}, {3, -3}, {5, 3}}, {0, 1, 1, 0},
                "218 about the means 2 and 0, and 20 wide; the inner ranges are 2 and 6. Cut at 2, the first row would "
                "stay alone"},
        })
    {
        SCOPED_TRACE(c.why);
        ClusterKMeans clusters(2, 20, 0.0, kNoOutliers);
        clusters.Compute(c.data, {}, 2);
        EXPECT_EQ(clusters.m_assignments, c.assignments);
    }
}

// An infinite row makes every variance NaN, so no variable is better than none and the first is cut at 0.0: rows 3 and 5
// make the centre (4, -7) from which the only pass measures. Cut at the centre, NaN or infinite, none or all would move; cut
// along the second variable, the other two.
TEST(ClusterKMeans, WithoutASpreadTheFirstVariableIsCutAtZero)
{
    const Table finite{{-1, 7}, {-2, 7}, {3, -7}, {5, -7}};
    for (const bool isFirst : {false, true})
    {
        Table data = finite;
        data.insert(isFirst ? data.begin() : data.end(), Row{-kInf, -kInf});
        Row distances{25 + 196, 36 + 196, 1, 1};
        distances.insert(isFirst ? distances.begin() : distances.end(), DBL_MAX);
        ClusterKMeans clusters(2, 1, 0.0, kNoOutliers);
        clusters.Compute(data, {}, 2);
        EXPECT_EQ(clusters.m_distances, distances);
        EXPECT_EQ(
            clusters.m_assignments, isFirst ? (std::vector<int>{0, 1, 1, 1, 1}) : (std::vector<int>{0, 0, 0, 0, 1}));
    }
}

TEST(ClusterKMeans, IdenticalRowsAreOneCluster)
{
    for (const double value : {3.0, -3.0})
    {
        ClusterKMeans clusters(5, 20, 0.0, 0.05);
        clusters.Compute(Table(6, Row(2, value)), {}, 3);
        EXPECT_EQ(clusters.m_nClusters, 1);
        EXPECT_EQ(clusters.m_assignments, std::vector<int>(6, 0));
        EXPECT_EQ(clusters.m_clusterSizes, std::vector<int>{6});
        EXPECT_EQ(clusters.m_outlierBounds.size(), 3u) << "three were created, two are empty";
    }
}

// Cluster sizes and centres of R 4.2.2: kmeans(iris[, 1:4], 3, nstart = 50, algorithm = "Lloyd")
TEST(ClusterKMeans, AgreesWithLloydsAlgorithm)
{
    const LinearAlgebra::Matrix iris(TString::FromUTF8(BRV_TEST_DATA_DIR "/../../examples/data/iris.csv"), true);
    ASSERT_EQ(iris.GetNumRows(), 150u);
    Table data;
    for (std::uint64_t row = 0; row < 150; ++row)
        data.push_back({iris(row, 0), iris(row, 1), iris(row, 2), iris(row, 3)});
    ClusterKMeans clusters(10, 100, 0.0, kNoOutliers);
    clusters.Compute(data, {}, 3);
    const Table centres{{5.006, 3.428, 1.462, 0.246}, {5.90161290323, 2.74838709677, 4.39354838710, 1.43387096774},
        {6.85, 3.07368421053, 5.74210526316, 2.07105263158}};
    ASSERT_EQ(clusters.m_clusterSizes, (std::vector<int>{50, 62, 38}));
    for (std::size_t c = 0; c < 3; ++c)
        for (std::size_t v = 0; v < 4; ++v)
            EXPECT_NEAR(clusters.m_centroids[c][v], centres[c][v], 1e-9);
    EXPECT_NEAR(clusters.m_totalBetweenSS, 602.519158573854, 1e-9);
    EXPECT_NEAR(clusters.m_totalWithinSS, 78.851441426146, 1e-9);
}

TEST(ClusterKMeans, NothingToCluster)
{
    ClusterKMeans clusters(5, 20, 0.0, 0.05);
    clusters.Compute({{1}, {2}, {9}}, {}, 2);   // leaves nothing behind
    for (const Table& data : {Table{}, Table{{}}, Table{{}, {}}})
    {
        clusters.Compute(data, {1.0}, 2);
        EXPECT_EQ(clusters.m_nClusters + clusters.m_nCols, 0);
        EXPECT_TRUE(clusters.m_assignments.empty() && clusters.m_clusterSizes.empty() && clusters.m_pValues.empty());
    }
    clusters.Compute({{1}, {2}}, {-1, -2}, 2);
    EXPECT_EQ(clusters.m_nClusters, 0) << "weights below 0 are not all zero, but give no cluster";
    EXPECT_EQ(clusters.m_nOutliers, 2);
}

TEST(ClusterKMeans, RefusesBadArguments)
{
    ClusterKMeans clusters(5, 20, 0.0, 0.05);
    EXPECT_LOGIC_ASSERT(clusters.Compute({{1}, {2}}, {1}, 2), 0xB4900DE6, "(const int)weights.size() == m_nRows");
    EXPECT_LOGIC_ASSERT(clusters.Compute({{1}, {2}}, {0, -0.0}, 2), 0x39E13854, "!isAllZero");
    EXPECT_LOGIC_ASSERT(clusters.Compute({{1, 2}, {2}}, {}, 2), 0x5E0B7C92, "!isRagged");
    EXPECT_LOGIC_ASSERT(clusters.Compute({{1}, {}}, {}, 2), 0x5E0B7C92, "!isRagged");
}

// As many clusters as a host can ask for cost no more than those that are made.
TEST(ClusterKMeans, ALimitThatIsNeverReachedCostsNothing)
{
    constexpr int kLargest = std::numeric_limits<int>::max();
    const Table data = MakeTable(30, 2, Blobs, 0.0, 3);
    ClusterKMeans clusters(0, 0, 0.0, 0.0);
    ExpectAsPlain(clusters, data, {}, {kLargest, 40, 0.05, 0});

    int asked = 0;
    const CancellationScope scope([&] { return ++asked == 3000; });
    EXPECT_THROW(clusters.Compute(data, {}, kLargest), CancelledException);
    EXPECT_EQ(asked, 3000);
}

TEST(ClusterKMeans, TakesResultsOfItsOwn)
{
    const Table data = MakeTable(60, 3, Blobs, 0.02, 9);
    ClusterKMeans own(6, 40, 0.0, 0.05);
    ClusterKMeans other(6, 40, 0.0, 0.05);
    own.Compute(data, MakeWeights(60, Positive, 4), 4);
    const Row weights = own.m_weights;
    own.Compute(data, own.m_weights, 2);
    other.Compute(data, weights, 2);
    EXPECT_EQ(own.m_weights, weights);
    EXPECT_EQ(own.m_assignments, other.m_assignments);
    EXPECT_EQ(own.m_distances, other.m_distances);

    const Table centres = own.m_centroids;
    own.Compute(own.m_centroids, {}, 1);
    EXPECT_EQ(own.m_nRows, 2);
    ASSERT_EQ(own.m_centroids.size(), 1u);
    for (std::size_t v = 0; v < 3; ++v)
        EXPECT_NEAR(own.m_centroids[0][v], (centres[0][v] + centres[1][v]) / 2, 1e-12);
}

// Two even rows of points, 1500 and 1000, so far apart that one pass finds them and no distance is an outlier. A loop over
// all rows asks three times. One pass with one cluster takes 14 loops: the lengths of the rows, their copy, missing values,
// total; nearest centres, distances by cluster, their limits and histogram, centres; numbers, new labels, statistics;
// weights and statistics of the analysis of variance. Cancelled at each question, until a run has none left.
TEST(ClusterKMeans, IsCancelledInEveryLoop)
{
    struct Case
    {
        bool hasTies;
        bool isWeighted;
        int numClusters;
        int questions;
        const char* why;
    };
    for (const Case& c : {
             Case{false, false, 1, 14 * 3, "one pass"},
             Case{false, true, 1, 14 * 3 + 2 - 2 * (3 - 1),
                 "1500 weights of 0 before the first other one: 2500 lengths and 1501 weights, a bound of 1000"},
             Case{false, false, 2, 14 * 3 + 3 + 3 * 3 + 2 * (2 + 1),
                 "a split and a pass, bounds in parts of 1500 and 1000"},
             Case{true, false, 2, 14 * 3 + 3 + 3 * 3 + 2 * (2 + 1) + 3, "and the ranges of equal variances"},
             Case{false, false, 0, 14 * 3 + 3 + 3 * 3 + 2 * (2 + 1) + 2 * 2 * 3, "and twice numbers and statistics"},
         })
    {
        SCOPED_TRACE(c.why);
        Table data;
        for (int i = 0; i < 2500; ++i)
        {
            const double x = i < 1500 ? i / 1500.0 : 10.0 + i / 1000.0;
            data.push_back({x, c.hasTies ? x : 0.0});
        }
        Row weights(c.isWeighted ? 2500 : 0, 1.0);
        std::fill_n(weights.begin(), c.isWeighted ? 1500 : 0, 0.0);
        const Settings settings{2, 1, 0.05, c.numClusters};
        ClusterKMeans clusters(settings.maxClusters, settings.maxIterations, 0.0, settings.alpha);
        int cancelled = 0;
        for (int last = 1;; ++last)
        {
            int asked = 0;
            const CancellationScope scope([&] { return ++asked == last; });
            try
            {
                clusters.Compute(data, weights, c.numClusters);
                break;
            }
            catch (const CancelledException&)
            {
                ++cancelled;
            }
        }
        EXPECT_EQ(cancelled, c.questions);
        ExpectAsPlain(clusters, data, weights, settings);
    }
}

TEST(ClusterKMeans, IsTimed)
{
    const MetricsProbe probe;
    ClusterKMeans(5, 20, 0.0, 0.05).Compute({{0}, {1}, {10}, {11}}, {}, 2);
    EXPECT_EQ(probe.GetNames(), std::vector<std::u16string>{u"CreateCluster_ComputeKmeans"});
    EXPECT_EQ(probe.GetFacts(), (std::map<TString, TString>{{u"iterations", u"1,2"}}))
        << "the second pass of two finds nothing to change";
}

LinearAlgebra::Matrix TwoColumns()
{
    LinearAlgebra::Matrix m(3, 2);
    for (std::uint64_t row = 0; row < 3; ++row)
    {
        m(row, 0) = 10.0 + 5.0 * static_cast<double>(row);
        m(row, 1) = 4.0;
    }
    return m;
}

TEST(ClusteringUtils, Scales)
{
    LinearAlgebra::Matrix m = TwoColumns();
    ClusteringUtils::Normalize({{10, 20}, {4, 4}}, m);
    EXPECT_EQ(m(0, 0), 0.0);
    EXPECT_EQ(m(1, 0), 0.5);
    EXPECT_EQ(m(2, 0), 1.0);
    EXPECT_EQ(m(2, 1), 0.0) << "a column without a range is shifted only";

    m = TwoColumns();
    ClusteringUtils::Standardize({15, 1}, {25, 0}, m);
    EXPECT_EQ(m(0, 0), -1.0);
    EXPECT_EQ(m(2, 0), 1.0);
    EXPECT_EQ(m(2, 1), 3.0) << "a column without a variance is shifted only";
}

TEST(ClusteringUtils, RefusesAWrongNumberOfColumns)
{
    LinearAlgebra::Matrix m = TwoColumns();
    EXPECT_LOGIC_ASSERT(ClusteringUtils::Normalize({{0, 1}}, m), 0x1D42F1C2,
        "static_cast<int>(colMinsMaxs.size()) == static_cast<int>(analysisMatrix.GetNumCols())");
    EXPECT_LOGIC_ASSERT(
        ClusteringUtils::Standardize({1, 2}, {1}, m), 0x0522E88B, "numCols == static_cast<int>(colVars.size())");
    EXPECT_LOGIC_ASSERT(ClusteringUtils::Standardize({1}, {1}, m), 0x4415C848,
        "numCols == static_cast<int>(analysisMatrix.GetNumCols())");
    EXPECT_EQ(m(1, 0), 15.0) << "the matrix is unchanged";
}

}   // namespace
