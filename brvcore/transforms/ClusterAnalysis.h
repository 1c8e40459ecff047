#pragma once

#include "brvcore/foundation/BrvExport.h"
#include "brvcore/foundation/RefCntObject.h"
#include "brvcore/transforms/LinearAlgebra.h"

#include <cstdint>
#include <utility>
#include <vector>

struct ClusterRows;
struct ClusterTables;

// K-means clustering of the rows of a table, with a number of clusters that the caller gives or the data decide.
//
// It draws no random numbers: the partition grows from one cluster by splitting the most spread-out cluster at its mean
// along its most spread-out variable, and each partition is refined by reassignment passes (S. P. Lloyd, "Least squares
// quantization in PCM", IEEE Transactions on Information Theory 28, 1982) until no row changes its cluster or its distance.
// Left to itself it stops before the first fall of the index of T. Calinski and J. Harabasz, "A dendrite method for cluster
// analysis", Communications in Statistics 3 (1974). Rows abnormally far from their centre (BasicStatistics::OutlierUpperBound)
// are outliers: they keep their cluster, but stand outside its centre and size.
//
// A missing value (NaN) makes its row weigh 0. Distances are squared Euclidean, so scale the variables first
// (ClusteringUtils). One object serves one thread; long loops poll cancellation.
class BRV_EXPORT ClusterKMeans : public RefCntObject
{
public:
    // At most `maxClusters` clusters when their number is chosen, at most `maxIterations` passes for each number;
    // `outlierAlpha` is the level of the outlier rule. `reservedParam` is kept and has no effect.
    ClusterKMeans(int maxClusters, int maxIterations, double reservedParam, double outlierAlpha);
    ~ClusterKMeans() override;

    // Clusters data[row][variable]. `weights` holds one weight per row, or nothing when each row weighs 1.0; a row whose
    // weight is not above 0 belongs to no cluster. `numClusters` >= 1 fixes the number of clusters, below 1 it is chosen.
    // An empty table, or an empty first row, gives empty results. With a limit of less than one iteration, or a choice among
    // less than one cluster, no pass is made: K is 0, every assignment -1, every distance 0 and nothing excluded.
    //
    // A second call replaces every result; the table and the weights may be results of the call before. O(rows * variables *
    // clusters) a pass. The work space is two copies of the table, one with its rows filled up to a multiple of four values,
    // some dozens of bytes a row, and at least four values per cluster and variable; a cluster takes its part when it comes.
    //
    // Throws LogicException 0xB4900DE6 "(const int)weights.size() == m_nRows", 0x39E13854 "!isAllZero", 0x5E0B7C92
    // "!isRagged" for rows of different lengths, 0xE3C9A27D for more than 2^31 - 257 rows or variables. After an exception,
    // that of a cancellation among them, no result is valid.
    void Compute(const std::vector<std::vector<double>>& data, const std::vector<double>& weights, int numClusters);

    // Results. K is m_nClusters; clusters bear numbers in the order in which the rows meet them.
    std::int32_t m_nCols = 0;
    std::int32_t m_nRows = 0;
    std::int32_t m_nClusters = 0;
    std::int32_t m_nOutliers = 0;    // rows outside every cluster, whatever the reason
    bool m_hasMissing = false;       // some row holds a NaN
    double m_totalBetweenSS = 0.0;   // over all variables, between the clusters
    double m_totalWithinSS = 0.0;    // m_totalSS - m_totalBetweenSS, or 0 when that is not positive
    double m_totalSS = 0.0;          // unweighted, over the rows of positive weight

    // By cluster.
    std::vector<std::int32_t> m_clusterSizes;            // without outliers
    std::vector<std::vector<double>> m_centroids;        // K x variables; weighted means
    std::vector<std::vector<double>> m_clusterStdDevs;   // weighted; NaN where the weights sum to at most 1
    std::vector<double> m_outlierBounds;                 // of the distances, in the order of creation; NaN: no bound

    // Analysis of variance, by variable.
    std::vector<std::int32_t> m_betweenDF;    // K - 1
    std::vector<double> m_betweenSS;          // sum of squares between the clusters
    std::vector<double> m_betweenMS;          // m_betweenSS / m_betweenDF
    std::vector<std::int32_t> m_residualDF;   // clustered rows - K
    std::vector<double> m_residualSS;         // about the overall mean, not pooled within the clusters
    std::vector<double> m_residualMS;         // m_residualSS / m_residualDF
    std::vector<double> m_fStatistics;        // m_betweenMS / m_residualMS, or NaN
    std::vector<double> m_pValues;            // P(F > f); NaN without F, -1 where F is not finite

    // By row. A weight that is not above 0 gives distance DBL_MAX and assignment -1. A row none of whose distances is below
    // DBL_MAX, as they are NaN or infinite, lies nearest to the cluster created first, at distance DBL_MAX.
    std::vector<double> m_distances;           // weight times squared distance to the centre
    std::vector<std::int32_t> m_assignments;   // an outlier has the cluster that it lies nearest to
    std::vector<double> m_weights;             // in use: 0 for a row with a NaN
    std::vector<bool> m_excluded;              // outside every cluster: weight not above 0, or outlier

    // Index of Calinski and Harabasz of 1, 2, ... clusters, up to the one that fell; empty when the number was given.
    std::vector<double> m_chIndex;

    // Configuration.
    std::int32_t m_maxClusters;
    std::int32_t m_maxIterations;
    double m_reservedParam;
    double m_outlierAlpha;

private:
    struct ColumnStatistics;   // weighted mean, weighted standard deviation and sum of weights of each variable

    void reset();
    std::int32_t dropMissing(ClusterTables& tables);
    void computeTotalSS(ClusterTables& tables);
    void refine(int k, ClusterTables& tables);
    void assign(int k, ClusterTables& tables);
    void findOutliers(int k, ClusterTables& tables);
    void estimateClusters(int k, ClusterTables& tables);
    double computeCalinskiHarabasz(int k, std::int32_t presentRows, const ClusterTables& tables) const;
    void split(int k, ClusterTables& tables);
    void keepPartition(ClusterTables& tables) const;
    void restorePartition(ClusterTables& tables);
    void computeClusterStatistics(const ClusterRows& rows, bool final);
    void computeANOVA(const ClusterRows& rows);
    std::vector<ColumnStatistics> computeBasicStatistics(const ClusterRows& rows, const std::vector<double>& weights,
        const std::vector<std::int32_t>& groups, std::int32_t nGroups) const;
};

// The two scalings that a host applies to a table, a column per variable, before it clusters the rows.
class BRV_EXPORT ClusteringUtils
{
public:
    ClusteringUtils() = delete;

    // Each column to (x - min) / (max - min), or x - min where min is not below max. Throws LogicException 0x1D42F1C2
    // "static_cast<int>(colMinsMaxs.size()) == static_cast<int>(analysisMatrix.GetNumCols())".
    static void Normalize(
        const std::vector<std::pair<double, double>>& colMinsMaxs, LinearAlgebra::Matrix& analysisMatrix);

    // Each column to (x - mean) / sqrt(variance), or x - mean where the variance is not above 0. Throws LogicException
    // 0x0522E88B "numCols == static_cast<int>(colVars.size())", 0x4415C848
    // "numCols == static_cast<int>(analysisMatrix.GetNumCols())".
    static void Standardize(
        const std::vector<double>& colMeans, const std::vector<double>& colVars, LinearAlgebra::Matrix& analysisMatrix);
};
