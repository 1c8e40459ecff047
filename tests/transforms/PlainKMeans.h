#pragma once

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstddef>
#include <limits>
#include <tuple>
#include <utility>
#include <vector>

#include <boost/math/distributions/fisher_f.hpp>

// K-means clustering as it reads: one loop per sentence, everything in its own table, nothing saved. ClusterAnalysisTest
// expects the same bits from ClusterKMeans. It shares no code with the library, on purpose.
struct PlainKMeans
{
    using Row = std::vector<double>;
    using Table = std::vector<Row>;

    int maxClusters = 0;
    int maxIterations = 0;
    double alpha = 0.05;

    int K = 0, outliers = 0;
    bool hasMissing = false;
    double betweenTotal = 0.0, withinTotal = 0.0, T = 0.0;
    std::vector<int> sizes;
    Table centroids, stdDevs;
    Row bounds, betweenSS, betweenMS, residualSS, residualMS, F, p, distances, weights, ch;
    std::vector<int> assignments;
    std::vector<bool> excluded;
    std::vector<int> passes;   // with 1, 2, ... clusters
    int residualDF = 0;

    static double Bound(Row x, double alpha)
    {
        x.erase(std::remove_if(x.begin(), x.end(), [](double v) { return !std::isfinite(v); }), x.end());
        std::sort(x.begin(), x.end());
        const int n = static_cast<int>(x.size());
        const int m = n / 4;
        Row gap(x.size(), NAN);
        for (int i = std::max(1, n / 2); i < n; ++i)
        {
            const auto at = static_cast<std::size_t>(i);
            gap[at] = x[at] - x[at - 1];
            double S = 0.0;
            for (int w = 1; w < m; ++w)
                S += w * gap[static_cast<std::size_t>(i - w)];
            const double threshold =
                n >= 8 ? std::log(1.0 / alpha) * S / (m - 1) : std::log(1.0 / alpha) * (0.0 / (m - 1));
            if (x[at] > x[x.size() * 3 / 4] && gap[at] > 0.05 * (x.back() - x.front()) && gap[at] > threshold)
                return x[at - 1];
        }
        return NAN;
    }

    static double Distance(const Row& a, const Row& b, double weight)
    {
        double sum = 0.0;
        for (std::size_t v = 0; v < a.size(); ++v)
            sum += (a[v] - b[v]) * (a[v] - b[v]);
        return weight * sum;
    }

    struct Weighted
    {
        Row mean, stdDev;
    };

    static Weighted Describe(const Table& rows, const Row& w, std::size_t cols)
    {
        Row W(cols), mean(cols), m2(cols), stdDev(cols);
        int n = 0;
        for (std::size_t i = 0; i < rows.size(); ++i)
        {
            if (!(w[i] > 0.0))
                continue;
            ++n;
            for (std::size_t v = 0; v < cols; ++v)
            {
                W[v] += w[i];
                const double d = (rows[i][v] - mean[v]) * w[i];
                mean[v] += d / W[v];
                m2[v] += (rows[i][v] - mean[v]) * d;
            }
        }
        for (std::size_t v = 0; v < cols; ++v)
        {
            stdDev[v] = W[v] <= 1.0 ? NAN : std::sqrt(static_cast<double>(n) / (n - 1) * m2[v] / W[v]);
            if (W[v] <= 0.0)
                mean[v] = NAN;
        }
        return {mean, stdDev};
    }

    void Compute(const Table& data, const Row& givenWeights, int numClusters)
    {
        const std::size_t rows = data.size(), cols = data[0].size();
        weights = givenWeights.empty() ? Row(rows, 1.0) : givenWeights;
        int N = static_cast<int>(rows);
        for (std::size_t i = 0; i < rows; ++i)
            if (std::any_of(data[i].begin(), data[i].end(), [](double x) { return std::isnan(x); }))
            {
                hasMissing = true;
                weights[i] = 0.0;
                --N;
            }
        const int maxK = numClusters >= 1 ? numClusters : std::max(0, std::min(maxClusters, static_cast<int>(rows)));
        const auto room = static_cast<std::size_t>(maxK) + 1;
        std::vector<int> state(room, 0);
        std::vector<std::vector<int>> members(room), counts(room, std::vector<int>(cols));
        Table means(room, Row(cols)), ss = means, lo = means, lo2 = means, hi = means, hi2 = means;
        std::vector<int>& allCount = counts[room - 1];
        Row& allMean = means[room - 1];
        assignments.assign(rows, -1);
        distances.assign(rows, 0.0);
        excluded.assign(rows, false);
        bounds.assign(static_cast<std::size_t>(maxK), NAN);

        for (std::size_t v = 0; v < cols; ++v)
        {
            int n = 0;
            double mean = 0.0, m2 = 0.0;
            for (std::size_t i = 0; i < rows; ++i)
                if (weights[i] > 0.0)
                {
                    const double d = data[i][v] - mean;
                    mean += d / ++n;
                    m2 += (data[i][v] - mean) * d;
                }
            T += m2;
            counts[0][v] = n;
            means[0][v] = mean;
        }

        const auto assign = [&](int k)
        {
            ++passes.back();
            for (int c = 0; c < k; ++c)
            {
                int& s = state[static_cast<std::size_t>(c)];
                s = s == 0 ? 2 : 1;
                members[static_cast<std::size_t>(c)].clear();
            }
            for (std::size_t i = 0; i < rows; ++i)
            {
                if (!(weights[i] > 0.0))
                {
                    assignments[i] = -1;
                    excluded[i] = true;
                    distances[i] = DBL_MAX;
                    continue;
                }
                int best = 0;
                double bestDistance = DBL_MAX;
                for (int c = 0; c < k; ++c)
                    if (const double d = Distance(data[i], means[static_cast<std::size_t>(c)], weights[i]);
                        d < bestDistance)
                    {
                        best = c;
                        bestDistance = d;
                    }
                if (best != assignments[i] || bestDistance != distances[i])
                {
                    state[static_cast<std::size_t>(best)] = 2;
                    if (assignments[i] >= 0)
                        state[static_cast<std::size_t>(assignments[i])] = 2;
                }
                assignments[i] = best;
                distances[i] = bestDistance;
                members[static_cast<std::size_t>(best)].push_back(static_cast<int>(i));
            }
            for (std::size_t c = 0; c < static_cast<std::size_t>(k); ++c)
            {
                if (state[c] == 1)
                    continue;
                Row d;
                for (const int i : members[c])
                    d.push_back(distances[static_cast<std::size_t>(i)]);
                bounds[c] = Bound(d, alpha);
                for (int& i : members[c])
                {
                    const bool isOutlier = distances[static_cast<std::size_t>(i)] > bounds[c];
                    excluded[static_cast<std::size_t>(i)] = isOutlier;
                    if (isOutlier)
                        i = ~i;
                }
                for (std::size_t v = 0; v < cols; ++v)
                {
                    counts[c][v] = allCount[v] = 0;
                    means[c][v] = allMean[v] = ss[c][v] = 0.0;
                    lo[c][v] = lo2[c][v] = DBL_MAX;
                    hi[c][v] = hi2[c][v] = -DBL_MAX;
                    for (const int member : members[c])
                    {
                        const double x = data[static_cast<std::size_t>(member < 0 ? ~member : member)][v];
                        const double before = x - allMean[v];
                        allMean[v] += before / ++allCount[v];
                        ss[c][v] += (x - allMean[v]) * before;
                        if (member < 0)
                            continue;
                        means[c][v] += (x - means[c][v]) / ++counts[c][v];
                        Row low{lo[c][v], lo2[c][v], x}, high{hi[c][v], hi2[c][v], x};
                        std::sort(low.begin(), low.end());
                        std::sort(high.rbegin(), high.rend());
                        std::tie(lo[c][v], lo2[c][v]) = std::pair(low[0], low[1]);
                        std::tie(hi[c][v], hi2[c][v]) = std::pair(high[0], high[1]);
                    }
                }
            }
        };

        struct Saved
        {
            std::vector<int> assignments;
            Row distances;
            std::vector<bool> excluded;
            Row bounds;
        } saved;
        int kept = maxK;
        for (int k = 1; k <= maxK; ++k)
        {
            const auto last = static_cast<std::size_t>(k) - 1;
            passes.push_back(0);
            for (int pass = 0; pass < (k == 1 ? std::min(1, maxIterations) : maxIterations); ++pass)
            {
                if (std::count(state.begin(), state.begin() + k, 1) == k)
                    break;
                assign(k);
            }
            if (numClusters < 1)
            {
                double W = 0.0;
                for (std::size_t c = 0; c <= last; ++c)
                    for (std::size_t v = 0; v < cols; ++v)
                        W += ss[c][v];
                ch.push_back(k == 1 ? 0.0 : ((T - W) / (k - 1)) * ((N - k) / W));
                if (k >= 3 && ch[last - 1] > ch[last])
                {
                    assignments = saved.assignments;
                    distances = saved.distances;
                    excluded = saved.excluded;
                    bounds = saved.bounds;
                    kept = k - 1;
                    break;
                }
            }
            if (k == maxK)
                break;
            std::size_t target = 0;
            double widest = 0.0;
            for (std::size_t c = 0; c <= last; ++c)
            {
                double sum = 0.0;
                for (std::size_t v = 0; v < cols; ++v)
                    sum += ss[c][v] / counts[c][v];
                if (sum > widest)
                {
                    widest = sum;
                    target = c;
                }
            }
            std::size_t variable = 0;
            double value = 0.0, variance = 0.0, range = 0.0, inner = 0.0;
            for (std::size_t v = 0; v < cols; ++v)
            {
                const double s = ss[target][v] / counts[target][v];
                const double r = hi[target][v] - lo[target][v];
                const double q = hi2[target][v] - lo2[target][v];
                if (s > variance || (s == variance && r > range) || (s == variance && r == range && q > inner))
                {
                    variable = v;
                    value = means[target][v];
                    variance = s;
                    range = r;
                    inner = q;
                }
            }
            for (std::size_t i = 0; i < rows; ++i)
                if (assignments[i] == static_cast<int>(target) && !excluded[i] && weights[i] > 0.0 &&
                    data[i][variable] > value)
                    for (std::size_t v = 0; v < cols; ++v)
                    {
                        means[target][v] -= (data[i][v] - means[target][v]) / --counts[target][v];
                        means[last + 1][v] += (data[i][v] - means[last + 1][v]) / ++counts[last + 1][v];
                    }
            state[target] = state[last + 1] = 0;
            saved = {assignments, distances, excluded, bounds};
        }
        bounds.resize(static_cast<std::size_t>(kept));

        std::vector<int> numbers(room, -1);
        for (std::size_t i = 0; i < rows; ++i)
            if (!excluded[i] && assignments[i] >= 0 && numbers[static_cast<std::size_t>(assignments[i])] < 0)
                numbers[static_cast<std::size_t>(assignments[i])] = K++;
        for (int& label : assignments)
            label = label < 0 ? -1 : numbers[static_cast<std::size_t>(label)];
        for (int c = 0; c < K; ++c)
        {
            Table own;
            Row w;
            for (std::size_t i = 0; i < rows; ++i)
                if (!excluded[i] && assignments[i] == c)
                {
                    own.push_back(data[i]);
                    w.push_back(weights[i]);
                }
            const Weighted described = Describe(own, w, cols);
            sizes.push_back(static_cast<int>(own.size()));
            centroids.push_back(described.mean);
            stdDevs.push_back(described.stdDev);
        }
        outliers = static_cast<int>(std::count(excluded.begin(), excluded.end(), true));

        Row w = weights;
        for (std::size_t i = 0; i < rows; ++i)
            if (excluded[i])
                w[i] = 0.0;
        const int n = static_cast<int>(std::count_if(w.begin(), w.end(), [](double x) { return x > 0.0; }));
        residualDF = n - K;
        const Weighted overall = Describe(data, w, cols);
        for (std::size_t v = 0; v < cols; ++v)
        {
            double b = 0.0;
            for (std::size_t c = 0; c < sizes.size(); ++c)
                b += sizes[c] * ((centroids[c][v] - overall.mean[v]) * (centroids[c][v] - overall.mean[v]));
            betweenTotal += b;
            betweenSS.push_back(b);
            betweenMS.push_back(b / (K - 1));
            residualSS.push_back(overall.stdDev[v] * overall.stdDev[v] * (n - 1));
            residualMS.push_back(residualSS[v] / (n - K));
            const bool isTested = residualMS[v] != 0.0 && n != K && K != 1;
            F.push_back(isTested ? betweenMS[v] / residualMS[v] : NAN);
            p.push_back(!isTested ? NAN
                        : K < 2 || n <= K || !std::isfinite(F[v])
                            ? -1.0
                            : 1.0 - boost::math::cdf(boost::math::fisher_f(K - 1, n - K), F[v]));
        }
        withinTotal = T - betweenTotal > 0.0 ? T - betweenTotal : 0.0;
    }
};
