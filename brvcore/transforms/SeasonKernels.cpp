#include "brvcore/transforms/SeasonKernels.h"

#include "brvcore/foundation/CancellationChecker.h"
#include "brvcore/transforms/SymmetricSolver.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <limits>
#include <mutex>
#include <numbers>

// The regression of the season search, two periods at a time. With u = row / n and the angle a of the row, a period has
// the regressors
//
//     u,  s = sin a,  c = cos a,  u^2,  u s,  u c
//
// and needs their means and centred cross-products, one row after another. What involves only u, u^2 and y is the same for
// every period and is prepared once. The rest runs in lanes: a lane is one period with sums of its own, so each performs
// the operations of the single fit in the same order and its result is equal to the last bit.

namespace
{

constexpr std::size_t kLanes = 2;
using Lanes = double __attribute__((vector_size(kLanes * sizeof(double))));

// One present row: what all periods share.
struct Row
{
    int index;
    double y;
    double u;
    double u2;
    double weight;    // 1 / number of rows so far
    double uBefore;   // deviations from the mean before and after the row
    double u2Before;
    double u2After;
    double yAfter;
};

struct SharedSums
{
    std::vector<Row> rows;
    double meanU = 0.0;
    double meanU2 = 0.0;
    double meanY = 0.0;
    double uu = 0.0;
    double uu2 = 0.0;
    double u2u2 = 0.0;
    double uy = 0.0;
    double u2y = 0.0;
};

SharedSums Prepare(const std::vector<double>& series)
{
    SharedSums sums;
    sums.rows.reserve(series.size());
    const int n = static_cast<int>(series.size());
    for (int index = 0; index < n; ++index)
    {
        Row row{};
        row.index = index;
        row.y = series[static_cast<std::size_t>(index)];
        if (std::isnan(row.y))
            continue;
        row.weight = 1.0 / static_cast<double>(sums.rows.size() + 1);
        row.u = static_cast<double>(index) / n;
        row.u2 = row.u * row.u;
        sums.meanY += (row.y - sums.meanY) * row.weight;
        row.yAfter = row.y - sums.meanY;
        row.uBefore = row.u - sums.meanU;
        sums.meanU += row.uBefore * row.weight;
        row.u2Before = row.u2 - sums.meanU2;
        sums.meanU2 += row.u2Before * row.weight;
        row.u2After = row.u2 - sums.meanU2;

        sums.uy += row.uBefore * row.yAfter;
        sums.u2y += row.u2Before * row.yAfter;
        sums.uu += row.uBefore * (row.u - sums.meanU);
        sums.uu2 += row.uBefore * row.u2After;
        sums.u2u2 += row.u2Before * row.u2After;
        sums.rows.push_back(row);
    }
    return sums;
}

struct Wave
{
    Lanes sine;
    Lanes cosine;
};

// Means and centred cross-products that involve the wave; `us` is u times sine, `uc` u times cosine.
struct LaneSums
{
    Lanes meanS{}, meanC{}, meanUs{}, meanUc{};
    Lanes uS{}, uC{}, uUs{}, uUc{};
    Lanes ss{}, sc{}, su2{}, sUs{}, sUc{};
    Lanes cc{}, cu2{}, cUs{}, cUc{};
    Lanes u2Us{}, u2Uc{};
    Lanes usUs{}, usUc{}, ucUc{};
    Lanes sy{}, cy{}, usY{}, ucY{};
};

LaneSums Accumulate(const std::vector<Row>& rows, const Wave* waves)
{
    LaneSums a;
    for (std::size_t i = 0; i < rows.size(); ++i)
    {
        const Row& row = rows[i];
        const Lanes s = waves[i].sine;
        const Lanes c = waves[i].cosine;
        const Lanes us = row.u * s;
        const Lanes uc = row.u * c;

        const Lanes sBefore = s - a.meanS;
        const Lanes cBefore = c - a.meanC;
        const Lanes usBefore = us - a.meanUs;
        const Lanes ucBefore = uc - a.meanUc;
        a.meanS += sBefore * row.weight;
        a.meanC += cBefore * row.weight;
        a.meanUs += usBefore * row.weight;
        a.meanUc += ucBefore * row.weight;
        const Lanes sAfter = s - a.meanS;
        const Lanes cAfter = c - a.meanC;
        const Lanes usAfter = us - a.meanUs;
        const Lanes ucAfter = uc - a.meanUc;

        a.uS += row.uBefore * sAfter;
        a.uC += row.uBefore * cAfter;
        a.uUs += row.uBefore * usAfter;
        a.uUc += row.uBefore * ucAfter;
        a.ss += sBefore * sAfter;
        a.sc += sBefore * cAfter;
        a.su2 += sBefore * row.u2After;
        a.sUs += sBefore * usAfter;
        a.sUc += sBefore * ucAfter;
        a.cc += cBefore * cAfter;
        a.cu2 += cBefore * row.u2After;
        a.cUs += cBefore * usAfter;
        a.cUc += cBefore * ucAfter;
        a.u2Us += row.u2Before * usAfter;
        a.u2Uc += row.u2Before * ucAfter;
        a.usUs += usBefore * usAfter;
        a.usUc += usBefore * ucAfter;
        a.ucUc += ucBefore * ucAfter;
        a.sy += sBefore * row.yAfter;
        a.cy += cBefore * row.yAfter;
        a.usY += usBefore * row.yAfter;
        a.ucY += ucBefore * row.yAfter;
    }
    return a;
}

constexpr std::size_t kSlopes = 6;   // the intercept's row of the system is decoupled and left out
using Slopes = std::array<double, kSlopes>;

// Intercept and slopes of one lane; false when the system is singular.
bool Solve(const SharedSums& shared, const LaneSums& a, std::size_t lane, double& intercept, Slopes& slopes)
{
    std::array<Slopes, kSlopes> products = {{
        {shared.uu, a.uS[lane], a.uC[lane], shared.uu2, a.uUs[lane], a.uUc[lane]},
        {0.0, a.ss[lane], a.sc[lane], a.su2[lane], a.sUs[lane], a.sUc[lane]},
        {0.0, 0.0, a.cc[lane], a.cu2[lane], a.cUs[lane], a.cUc[lane]},
        {0.0, 0.0, 0.0, shared.u2u2, a.u2Us[lane], a.u2Uc[lane]},
        {0.0, 0.0, 0.0, 0.0, a.usUs[lane], a.usUc[lane]},
        {0.0, 0.0, 0.0, 0.0, 0.0, a.ucUc[lane]},
    }};
    if (FactoriseSymmetric(products, kSlopes) != -1)
        return false;
    const Slopes withY = {shared.uy, a.sy[lane], a.cy[lane], shared.u2y, a.usY[lane], a.ucY[lane]};
    SolveSymmetric(products, withY, slopes, kSlopes);
    const Slopes means = {shared.meanU, a.meanS[lane], a.meanC[lane], shared.meanU2, a.meanUs[lane], a.meanUc[lane]};
    double explained = 0.0;
    for (std::size_t i = 0; i < kSlopes; ++i)
        explained += means[i] * slopes[i];
    intercept = shared.meanY - explained;
    return true;
}

Lanes SumSquaredResiduals(
    const std::vector<Row>& rows, const Wave* waves, Lanes intercept, const std::array<Lanes, kSlopes>& slopes)
{
    Lanes sse{};
    for (std::size_t i = 0; i < rows.size(); ++i)
    {
        const Row& row = rows[i];
        const Lanes s = waves[i].sine;
        const Lanes c = waves[i].cosine;
        const Lanes fitted = intercept + slopes[0] * row.u + slopes[1] * s + slopes[2] * c + slopes[3] * row.u2 +
                             slopes[4] * (row.u * s) + slopes[5] * (row.u * c);
        const Lanes residual = row.y - fitted;
        sse += residual * residual;
    }
    return sse;
}

struct SineCosine
{
    double sine;
    double cosine;
};

SineCosine WaveAt(int offset, int period)
{
    SineCosine wave{};
    SineAndCosine(AngleOfRow(offset, 0, period), wave.sine, wave.cosine);
    return wave;
}

// The waves of the usual periods over the rows of a usual series. They depend on nothing else, so each is computed once in
// a process, a block of rows at a time, when first asked for, and a search of many series does without its dearest step.
// Any thread may ask.
class WaveTable
{
public:
    static constexpr int kFirstOffset = -1;   // of a row from the start: the search starts at row 1
    static constexpr int kBlockRows = 64;

    // The block that holds an offset from the start, its first row being that of BlockStart(offset); null for an unusual
    // period or row.
    static const SineCosine* BlockOf(int period, int offset)
    {
        const int block = (offset - kFirstOffset) / kBlockRows;
        if (period < 1 || period > kPeriods || offset < kFirstOffset || block >= kBlocks)
            return nullptr;
        const auto index = static_cast<std::size_t>(period - 1) * kBlocks + static_cast<std::size_t>(block);
        std::call_once(s_made[index],
            [&]
            {
                for (int row = 0; row < kBlockRows; ++row)
                    s_waves[index][static_cast<std::size_t>(row)] =
                        WaveAt(block * kBlockRows + row + kFirstOffset, period);
            });
        return s_waves[index].data();
    }

    static int BlockStart(int offset) { return (offset - kFirstOffset) / kBlockRows * kBlockRows + kFirstOffset; }

private:
    static constexpr int kBlocks = 4;
    static constexpr int kPeriods = 60;

    static std::array<std::once_flag, kPeriods * kBlocks> s_made;
    static std::array<std::array<SineCosine, kBlockRows>, kPeriods * kBlocks> s_waves;   // 240 KiB, touched as used
};

std::array<std::once_flag, WaveTable::kPeriods * WaveTable::kBlocks> WaveTable::s_made;
std::array<std::array<SineCosine, WaveTable::kBlockRows>, WaveTable::kPeriods * WaveTable::kBlocks> WaveTable::s_waves;

void FillLane(const std::vector<Row>& rows, int start, int period, std::size_t lane, Wave* waves)
{
    const SineCosine* block = nullptr;
    int blockStart = 0;
    int blockEnd = rows.empty()
                       ? 0
                       : rows.front().index -
                             start;   // offsets below it, from blockStart on, are in the block, or known to be in none
    for (std::size_t i = 0; i < rows.size(); ++i)
    {
        const int offset = rows[i].index - start;
        if (offset >= blockEnd)   // rows ascend
        {
            block = WaveTable::BlockOf(period, offset);
            blockStart = block != nullptr ? WaveTable::BlockStart(offset) : offset;
            blockEnd = block != nullptr ? blockStart + WaveTable::kBlockRows : offset + 1;
        }
        const SineCosine wave = block != nullptr ? block[offset - blockStart] : WaveAt(offset, period);
        waves[i].sine[lane] = wave.sine;
        waves[i].cosine[lane] = wave.cosine;
    }
}

}   // namespace

double AngleOfRow(int row, int start, int period)
{
    return 2.0 * std::numbers::pi * (static_cast<double>(row) - start) / period;
}

void SineAndCosine(double angle, double& sine, double& cosine)
{
#ifdef __GLIBC__
    ::sincos(angle, &sine, &cosine);   // one reduction of the angle for both
#else
    sine = std::sin(angle);
    cosine = std::cos(angle);
#endif
}

std::vector<double> ScorePeriods(const std::vector<double>& series, int start, int first, int last)
{
    std::vector<double> scores;
    if (last < first)
        return scores;
    scores.assign(static_cast<std::size_t>(last - first) + 1, std::numeric_limits<double>::quiet_NaN());
    const SharedSums shared = Prepare(series);
    std::vector<Wave> waves(shared.rows.size());
    CancellationChecker checker(1);   // a round is a pass over the series
    for (std::size_t at = 0; at < scores.size(); at += kLanes)
    {
        checker.ThrowIfCancelled();
        const std::size_t used = std::min(kLanes, scores.size() - at);
        std::array<int, kLanes> periods{};
        for (std::size_t lane = 0; lane < kLanes; ++lane)   // an idle lane repeats the last period
            periods[lane] = first + static_cast<int>(at + std::min(lane, used - 1));
        for (std::size_t lane = 0; lane < kLanes; ++lane)
            FillLane(shared.rows, start, periods[lane], lane, waves.data());
        const LaneSums sums = Accumulate(shared.rows, waves.data());

        Lanes intercept{};
        std::array<Lanes, kSlopes> slopes{};
        std::array<bool, kLanes> solved{};
        for (std::size_t lane = 0; lane < used; ++lane)
        {
            double a = 0.0;
            Slopes b{};
            solved[lane] = Solve(shared, sums, lane, a, b);
            intercept[lane] = a;
            for (std::size_t k = 0; k < kSlopes; ++k)
                slopes[k][lane] = b[k];
        }
        const Lanes sse = SumSquaredResiduals(shared.rows, waves.data(), intercept, slopes);
        for (std::size_t lane = 0; lane < used; ++lane)
            if (solved[lane])
                scores[at + lane] = sse[lane];
    }
    return scores;
}
