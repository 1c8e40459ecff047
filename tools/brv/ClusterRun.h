#pragma once

#include "CsvTable.h"
#include "Options.h"
#include "brvcore/foundation/RefCntObject.h"
#include "brvcore/transforms/ClusterAnalysis.h"
#include "brvcore/transforms/LinearAlgebra.h"

#include <cstddef>
#include <string>
#include <vector>

// What is to be clustered, in the units of the input.
struct ClusterInput
{
    std::vector<std::size_t> columns;   // of the table
    std::vector<std::size_t> leftOut;   // its other columns, unless named on the command line
    LinearAlgebra::Matrix values;       // rows of the table x columns; NaN: missing
    std::vector<double> weights;        // by row, NaN: missing; empty: each row weighs 1
    std::vector<bool> takesPart;        // by row
    std::vector<int> missingLines;      // rows with a missing cell or weight
    std::vector<int> weightlessLines;   // other rows whose weight is not above 0
};

// Throws DataError for a column that is not there, a cell that is no number, and when no row can be clustered.
ClusterInput ReadClusterInput(const CsvTable& table, const ClusterOptions& options);

// The clusters of the rows: the model computes on scaled values, the accessors answer in the units of the input.
class Clustering
{
public:
    // Rows of the table.
    struct Members
    {
        std::vector<std::size_t> rows;   // without the outliers
        std::vector<std::size_t> outliers;
    };

    static constexpr int kMaxPasses = 100;   // for each number of clusters

    // Both must outlive the object. Polls cancellation. Throws DataError for values too large to be scaled or squared.
    Clustering(const CsvTable& table, const ClusterInput& input, const ClusterOptions& options);

    const CsvTable& GetTable() const { return m_table; }
    const ClusterInput& GetInput() const { return m_input; }
    const ClusterKMeans& GetModel() const { return *m_model; }
    std::size_t ClusterCount() const { return m_model->m_centroids.size(); }
    std::size_t ColumnCount() const { return m_input.columns.size(); }
    const std::string& ColumnName(std::size_t column) const { return m_table.header[m_input.columns[column]]; }

    double Centre(std::size_t cluster, std::size_t column) const;
    // Standard deviation; NaN for a cluster of one row.
    double Spread(std::size_t cluster, std::size_t column) const;

    // By row of the table. An outlier has a cluster, but is no part of its size, centre and spread.
    bool IsClustered(std::size_t row) const { return m_model->m_assignments[row] >= 0; }
    bool IsOutlier(std::size_t row) const { return IsClustered(row) && m_model->m_excluded[row]; }
    // From 0; only where IsClustered.
    std::size_t ClusterOf(std::size_t row) const { return static_cast<std::size_t>(m_model->m_assignments[row]); }
    // The same by cluster.
    const Members& MembersOf(std::size_t cluster) const { return m_members[cluster]; }
    std::size_t OutlierCount() const;

    // The columns by falling F: those that separate the clusters most come first.
    std::vector<std::size_t> ColumnsBySeparation() const;

private:
    // A scaled value is (x - offset) / factor.
    struct ColumnScale
    {
        double offset = 0.0;
        double factor = 1.0;
    };

    std::vector<std::vector<double>> ScaledRows(Scaling scaling);
    void SetScale(std::size_t column, double offset, double width);

    const CsvTable& m_table;
    const ClusterInput& m_input;
    std::vector<ColumnScale> m_scales;
    RefCntPtr<ClusterKMeans> m_model;
    std::vector<Members> m_members;
};
