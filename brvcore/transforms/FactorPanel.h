#pragma once

#include "brvcore/transforms/FactorKernels.h"
#include "brvcore/transforms/LinearAlgebra.h"

#include <algorithm>
#include <cstddef>
#include <vector>

namespace LinearAlgebra
{

// Work space of the FactorKernels: some columns of a matrix side by side, stored by row.
class FactorPanel
{
public:
    explicit FactorPanel(std::size_t rows)
        : m_kernel(BestFactorKernel()), m_lanes(m_kernel.lanes), m_values(rows * m_lanes)
    {
    }

    const FactorKernel& GetKernel() const noexcept { return m_kernel; }
    std::size_t GetLanes() const noexcept { return m_lanes; }
    double* GetRow(std::size_t row) noexcept { return m_values.data() + row * m_lanes; }

    // Panel row i, for i < rows, from row rowOf(i) of the `width` columns columnOf(0), columnOf(1), ...; other lanes are 0.
    template <class RowOf, class ColumnOf>
    void Load(const Matrix& from, std::size_t rows, std::size_t width, RowOf rowOf, ColumnOf columnOf)
    {
        for (std::size_t k = 0; k < m_lanes; ++k)
        {
            const double* column = k < width ? from.GetColumnData(columnOf(k)) : nullptr;
            for (std::size_t i = 0; i < rows; ++i)
                GetRow(i)[k] = column != nullptr ? column[rowOf(i)] : 0.0;
        }
    }

    // The reverse of Load.
    template <class RowOf, class ColumnOf>
    void Store(Matrix& to, std::size_t rows, std::size_t width, RowOf rowOf, ColumnOf columnOf)
    {
        for (std::size_t k = 0; k < width; ++k)
        {
            double* column = to.GetColumnData(columnOf(k));
            for (std::size_t i = 0; i < rows; ++i)
                column[rowOf(i)] = GetRow(i)[k];
        }
    }

private:
    const FactorKernel& m_kernel;
    std::size_t m_lanes;
    std::vector<double> m_values;
};

// The columns of a matrix as the kernels take them; valid until its shape changes.
inline std::vector<const double*> ColumnPointers(const Matrix& m, std::size_t count)
{
    std::vector<const double*> columns(count);
    for (std::size_t c = 0; c < count; ++c)
        columns[c] = m.GetColumnData(c);
    return columns;
}

inline Matrix VectorToColumn(const std::vector<double>& values)
{
    Matrix column(values.size(), 1);
    std::copy(values.begin(), values.end(), column.GetColumnData(0));
    return column;
}

inline std::vector<double> ColumnToVector(const Matrix& column)
{
    return {column.GetColumnData(0), column.GetColumnData(0) + column.GetNumRows()};
}

}   // namespace LinearAlgebra
