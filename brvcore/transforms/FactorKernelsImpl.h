// The loops of FactorKernels.h, compiled once per instruction level. The including file defines BRV_FACTOR_LANES, four
// vectors of the level, and is built with the level's flags.
//
// Everything here is private to the including file and calls no inline function of another header: the linker keeps one
// copy of such a function for the whole library, and must not keep one that an older processor cannot run.

#include "brvcore/transforms/FactorKernels.h"

namespace
{

using std::size_t;

constexpr size_t kLanes = BRV_FACTOR_LANES;
constexpr size_t kVector = kLanes / 4;
using Lanes = double __attribute__((vector_size(kVector * sizeof(double))));
using UnalignedLanes =
    double __attribute__((vector_size(kVector * sizeof(double)), aligned(sizeof(double)), may_alias));

#define BRV_INLINE inline __attribute__((always_inline))

// One row of a panel, in registers.
struct Row
{
    Lanes a, b, c, d;
};

BRV_INLINE void Load(Row& row, const double* from)
{
    const auto* lanes = reinterpret_cast<const UnalignedLanes*>(from);
    row = {lanes[0], lanes[1], lanes[2], lanes[3]};
}

BRV_INLINE void Store(double* to, const Row& row)
{
    auto* lanes = reinterpret_cast<UnalignedLanes*>(to);
    lanes[0] = row.a;
    lanes[1] = row.b;
    lanes[2] = row.c;
    lanes[3] = row.d;
}

// sum + u x
BRV_INLINE void AddProduct(Row& sum, double u, const Row& x)
{
    sum.a += u * x.a;
    sum.b += u * x.b;
    sum.c += u * x.c;
    sum.d += u * x.d;
}

// sum - u x
BRV_INLINE void SubtractProduct(Row& sum, double u, const Row& x)
{
    sum.a -= u * x.a;
    sum.b -= u * x.b;
    sum.c -= u * x.c;
    sum.d -= u * x.d;
}

BRV_INLINE void Divide(Row& row, double divisor)
{
    row.a /= divisor;
    row.b /= divisor;
    row.c /= divisor;
    row.d /= divisor;
}

// Two rows at a time share the loads of the rows before them and give the adders eight chains to work on.
void ForwardSubstitute(const double* const* columns, size_t begin, size_t end, double* panel)
{
    Row sum0;
    Row sum1;
    Row solved;
    size_t i = begin;
    for (; i + 1 < end; i += 2)
    {
        const double* first = columns[i];
        const double* second = columns[i + 1];
        double* x = panel + i * kLanes;
        Load(sum0, x);
        Load(sum1, x + kLanes);
        for (size_t m = 0; m < i; ++m)
        {
            Load(solved, panel + m * kLanes);
            SubtractProduct(sum0, first[m], solved);
            SubtractProduct(sum1, second[m], solved);
        }
        SubtractProduct(sum1, second[i], sum0);
        Store(x, sum0);
        Store(x + kLanes, sum1);
    }
    if (i < end)
    {
        const double* column = columns[i];
        Load(sum0, panel + i * kLanes);
        for (size_t m = 0; m < i; ++m)
        {
            Load(solved, panel + m * kLanes);
            SubtractProduct(sum0, column[m], solved);
        }
        Store(panel + i * kLanes, sum0);
    }
}

void BackSubstitute(const double* const* columns, const double* diagonal, size_t size, double* panel)
{
    Row sum0;
    Row sum1;
    Row solved;
    size_t end = size;   // rows from here on are solved
    for (; end >= 2; end -= 2)
    {
        const size_t i = end - 2;
        double* x = panel + i * kLanes;
        Load(sum0, x);
        Load(sum1, x + kLanes);
        for (size_t m = size; m-- > end;)
        {
            Load(solved, panel + m * kLanes);
            SubtractProduct(sum0, columns[m][i], solved);
            SubtractProduct(sum1, columns[m][i + 1], solved);
        }
        if (diagonal != nullptr)
            Divide(sum1, diagonal[i + 1]);
        SubtractProduct(sum0, columns[i + 1][i], sum1);
        if (diagonal != nullptr)
            Divide(sum0, diagonal[i]);
        Store(x, sum0);
        Store(x + kLanes, sum1);
    }
    if (end == 1)
    {
        Load(sum0, panel);
        for (size_t m = size; m-- > 1;)
        {
            Load(solved, panel + m * kLanes);
            SubtractProduct(sum0, columns[m][0], solved);
        }
        if (diagonal != nullptr)
            Divide(sum0, diagonal[0]);
        Store(panel, sum0);
    }
}

// One pass over the panel per reflection: a row that has just been reflected is at once part of the next one's sum.
void Reflect(const double* const* vectors, size_t begin, size_t end, size_t rows, double* panel)
{
    if (begin == end)
        return;
    Row x;
    Row sum{};
    for (size_t i = begin; i < rows; ++i)
    {
        Load(x, panel + i * kLanes);
        AddProduct(sum, vectors[begin][i], x);
    }
    for (size_t k = begin; k < end; ++k)
    {
        const double* vector = vectors[k];
        Row factor{-sum.a, -sum.b, -sum.c, -sum.d};
        Divide(factor, vector[k]);
        Load(x, panel + k * kLanes);
        AddProduct(x, vector[k], factor);
        Store(panel + k * kLanes, x);

        const double* next = k + 1 < end ? vectors[k + 1] : nullptr;
        sum = Row{};
        for (size_t i = k + 1; i < rows; ++i)
        {
            Load(x, panel + i * kLanes);
            AddProduct(x, vector[i], factor);
            Store(panel + i * kLanes, x);
            if (next != nullptr)
                AddProduct(sum, next[i], x);
        }
    }
}

#undef BRV_INLINE

}   // namespace
