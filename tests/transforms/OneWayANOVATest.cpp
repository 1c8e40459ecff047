#include "brvcore/transforms/OneWayANOVA.h"

#include "tests/support/LogicAssert.h"
#include "tests/transforms/ReferenceData.h"

#include <cmath>
#include <cstddef>
#include <limits>
#include <set>
#include <string>
#include <vector>

#include <gmock/gmock.h>

namespace
{

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();

struct GroupedData
{
    std::vector<double> values;
    std::vector<int> groups;
    int numGroups = 0;

    OneWayANOVA Analyse() const { return {values, groups, numGroups}; }
};

GroupedData DataSet(const std::vector<ReferenceRow>& rows, const std::string& name)
{
    GroupedData data;
    for (const ReferenceRow& row : rows)
        if (row.name == name)
        {
            data.values.push_back(row.numbers.at(0));
            data.groups.push_back(static_cast<int>(row.numbers.at(1)));
        }
    data.numGroups = static_cast<int>(std::set<int>(data.groups.begin(), data.groups.end()).size());
    return data;
}

// Raw squares lose twice the digits that the values have in common, so the reachable accuracy falls from set to set.
TEST(OneWayANOVA, ReachesCertifiedValues)
{
    struct Case
    {
        const char* name;
        double relativeError;
        const char* why;
    };
    const std::vector<ReferenceRow> rows = ReadReference("anova_nist.csv");
    for (const Case& c : {
             Case{"SmLs01", 1e-12, "one leading digit"},
             Case{"SiRstv", 1e-9, "three leading digits: squares of 4e4 for a sum within of 0.2"},
             Case{"AtmWtAg", 0.03, "seven leading digits: squares of 6e5, rounded by 1e-10, for a sum within of 1e-8"},
         })
    {
        SCOPED_TRACE(testing::Message() << c.name << ", " << c.why);
        const double certified = ReferenceColumn(rows, c.name + std::string(":certified")).at(0);
        EXPECT_NEAR(DataSet(rows, c.name).Analyse().GetFStatistic(), certified, c.relativeError * certified);
    }
}

TEST(OneWayANOVA, AgreesWithTheReference)
{
    const std::vector<ReferenceRow> rows = ReadReference("anova_r.csv");
    int compared = 0;
    for (const ReferenceRow& row : rows)
    {
        const std::size_t colon = row.name.find(':');
        if (colon == std::string::npos)
            continue;
        SCOPED_TRACE(row.name);
        const OneWayANOVA anova = DataSet(rows, row.name.substr(0, colon)).Analyse();
        EXPECT_NEAR(anova.GetFStatistic(), row.numbers.at(0), 1e-11 * row.numbers.at(0));
        EXPECT_NEAR(anova.GetPValue(), row.numbers.at(1), 1e-13);   // 1 minus the lower tail keeps no more
        ++compared;
    }
    EXPECT_EQ(compared, 4);
}

// Tails with (1, 2) degrees of freedom: 1 - sqrt(F / (F + 2)).
TEST(OneWayANOVA, DegenerateInput)
{
    struct Case
    {
        GroupedData data;
        double f;
        double p;
        const char* why;
    };
    const double a = 1e8 + 0.1;
    const double b = 1e8 + 10.1;
    for (const Case& c : {
             Case{{{1, 2, 3, 4}, {0, 0, 1, 1}, 2}, 8.0, 1.0 - std::sqrt(0.8), "B = 4, W = 1"},
             Case{{{3, 1, 4, 2}, {1, 0, 1, 0}, 2}, 8.0, 1.0 - std::sqrt(0.8), "the order of the rows is free"},
             Case{{{1, 3, 1, 3}, {0, 0, 1, 1}, 2}, 0.0, 1.0, "equal means"},
             Case{{{1, 1, 2, 2}, {0, 0, 1, 1}, 2}, kInf, -1.0, "no spread within"},
             Case{{{1, 1, 1, 1}, {0, 0, 1, 1}, 2}, kNaN, -1.0, "no spread at all"},
             Case{{{1, 2, 3}, {0, 0, 0}, 1}, kNaN, -1.0, "one group: 0 / 0 between"},
             Case{{{1, 2, 3, 4}, {0, 0, 1, 1}, 3}, kNaN, -1.0, "an empty group"},
             Case{{{1, 2, 3}, {0, 0, 1}, 2}, kNaN, -1.0, "a group of one value has no variance"},
             Case{{{1, 2}, {0, 1}, 2}, kNaN, -1.0, "no degree of freedom within"},
             Case{{{1, kNaN, 3, 4}, {0, 0, 1, 1}, 2}, kNaN, -1.0, "missing values are not skipped"},
             Case{{{1, kInf, 3, 4}, {0, 0, 1, 1}, 2}, kNaN, -1.0, "infinite"},
             Case{{{1e200, 2e200, 3, 4}, {0, 0, 1, 1}, 2}, kNaN, -1.0, "squares beyond the doubles"},
             Case{{{}, {}, 5}, kNaN, -1.0, "no values"},
             Case{{{}, {}, 0}, kNaN, -1.0, "no groups"},
             Case{{{}, {}, -1}, kNaN, -1.0, "fewer than none"},
             Case{{{a, a, a, a, a, a, a, a, a}, {0, 0, 1, 1, 1, 1, 1, 1, 1}, 2}, -0x1.cp-53, 1.0,
                 "a sum within of -16, a sum between of 2^-51: below 0 by too little for the quotient of the tail"},
             Case{{{a, a, a, b, b, b, b, b, b}, {0, 0, 0, 1, 1, 1, 1, 1, 1}, 2}, -70.00000041723251, -1.0,
                 "the squares of 1e8 round the sum within to below 0 by more than that"},
         })
    {
        SCOPED_TRACE(c.why);
        const OneWayANOVA anova = c.data.Analyse();
        EXPECT_THAT(anova.GetFStatistic(), testing::NanSensitiveDoubleEq(c.f));
        EXPECT_DOUBLE_EQ(anova.GetPValue(), c.p);
    }
}

TEST(OneWayANOVA, RefusesBadLabels)
{
    const std::vector<double> two{1.0, 2.0};
    constexpr auto kLength = "static_cast<unsigned int>(totalLength) == tsize(group)";
    constexpr auto kGroups = "numGroups <= maxGroups";
    constexpr auto kLabel = "0 <= group[i] && group[i] < numGroups";
    EXPECT_LOGIC_ASSERT(OneWayANOVA(two, {0}, 2), 0x47EDE8B8, kLength);
    EXPECT_LOGIC_ASSERT(OneWayANOVA(two, {0, 7, 0}, 101), 0x47EDE8B8, kLength);   // the length is looked at first
    EXPECT_LOGIC_ASSERT(OneWayANOVA(two, {0, -1}, 101), 0x5B39CDBB, kGroups);     // then the number of groups
    EXPECT_LOGIC_ASSERT(OneWayANOVA({}, {}, 101), 0x5B39CDBB, kGroups);
    EXPECT_LOGIC_ASSERT(OneWayANOVA(two, {0, -1}, 2), 0x8C61D3F9, kLabel);
    EXPECT_LOGIC_ASSERT(OneWayANOVA(two, {2, 0}, 2), 0x8C61D3F9, kLabel);
    EXPECT_LOGIC_ASSERT(OneWayANOVA(two, {0, 0}, 0), 0x8C61D3F9, kLabel);
    EXPECT_LOGIC_ASSERT(OneWayANOVA(two, {0, 0}, -3), 0x8C61D3F9, kLabel);
    std::vector<int> labels(10000, 0);
    labels.back() = std::numeric_limits<int>::min();   // in the last block
    EXPECT_LOGIC_ASSERT(OneWayANOVA(std::vector<double>(10000), labels, 100), 0x8C61D3F9, kLabel);
}

double PlainF(const GroupedData& data)
{
    std::vector<double> n, sums, squares;
    double total = 0.0;
    for (int g = 0; g < data.numGroups; ++g)
    {
        double count = 0.0, s = 0.0, q = 0.0;
        for (std::size_t i = 0; i < data.values.size(); ++i)
            if (data.groups[i] == g)
            {
                count += 1.0;
                s += data.values[i];
                q += data.values[i] * data.values[i];
            }
        n.push_back(count);
        sums.push_back(s);
        squares.push_back(q);
        total += s;
    }
    const double size = static_cast<double>(data.values.size());
    const double mean = total / size;
    double between = 0.0, within = 0.0;
    for (std::size_t g = 0; g < n.size(); ++g)
    {
        const double deviation = sums[g] / n[g] - mean;
        between += n[g] * (deviation * deviation);
        within += (n[g] - 1.0) * ((squares[g] - sums[g] * sums[g] / n[g]) / (n[g] - 1.0));
    }
    return (between / (data.numGroups - 1)) / (within / (size - data.numGroups));
}

// Sorted, alternating and scattered labels, their mixtures in one series, and lengths around a block.
TEST(OneWayANOVA, EveryOrderOfLabelsGivesTheBitsOfPlainLoops)
{
    for (const int numGroups : {2, 7, 100})
        for (const int n : {2047, 2048, 2049, 9000})
            for (const int layout : {0, 1, 2, 3})
            {
                GroupedData data{{}, {}, numGroups};
                for (int i = 0; i < n; ++i)
                {
                    const int scattered = static_cast<int>(i * 7919LL % 104729 % numGroups);
                    const int sorted = static_cast<int>(static_cast<long long>(i) * numGroups / n);
                    const int mixture = i / 1000 % 2 == 0 ? i / 11 % numGroups : scattered;
                    data.groups.push_back(layout == 0   ? sorted
                                          : layout == 1 ? i % numGroups
                                          : layout == 2 ? scattered
                                                        : mixture);
                    data.values.push_back(100.0 / 3.0 + std::sin(0.7 * i));
                }
                EXPECT_EQ(data.Analyse().GetFStatistic(), PlainF(data))
                    << numGroups << " groups, " << n << " values, layout " << layout;
            }
}

}   // namespace
