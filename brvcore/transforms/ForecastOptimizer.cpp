#include "brvcore/transforms/ForecastOptimizer.h"

#include "brvcore/foundation/CancellationChecker.h"
#include "brvcore/transforms/ExponentialSmoothing.h"

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstddef>

namespace
{

constexpr std::size_t kParameters = 3;
constexpr int kBoxesPerParameter = 5;
constexpr double kBoxWidth = 0.1;
constexpr double kStepLength = 0.01;
constexpr double kShortestMove = 1e-4;   // a shorter one ends the descent
constexpr int kLastIteration = 100;      // counted from 0
constexpr double kSmallest = 1e-12;      // of a difference and of a norm
constexpr double kRelativeDifference = 0.001;

// Half the width of a parameter's central difference.
double DifferenceOf(double parameter)
{
    return std::max(kSmallest, kRelativeDifference * parameter);
}

double Slope(double upperValue, double lowerValue, double parameter)
{
    return (upperValue - lowerValue) / (2.0 * DifferenceOf(parameter));
}

ForecastParameters CentreOf(const ParameterBox& box)
{
    ForecastParameters centre{};
    for (std::size_t i = 0; i < kParameters; ++i)
        centre[i] = box.IsActive(i) ? box.lower[i] + kBoxWidth / 2.0 : 0.0;
    return centre;
}

// Moves the parameters down the slope, as far as the box lets them, and returns the length of the move. A slope that is
// NaN leads to the lower bound.
double MoveDown(const ForecastParameters& gradient, const ParameterBox& box, ForecastParameters& parameters)
{
    const double norm = std::max(
        kSmallest, std::sqrt(gradient[0] * gradient[0] + gradient[1] * gradient[1] + gradient[2] * gradient[2]));
    double squaredMove = 0.0;
    for (std::size_t i = 0; i < kParameters; ++i)
    {
        const double target = parameters[i] - kStepLength * (gradient[i] / norm);
        const double bounded = std::min(box.upper[i], std::max(box.lower[i], target));
        squaredMove += (bounded - parameters[i]) * (bounded - parameters[i]);
        parameters[i] = bounded;
    }
    return std::sqrt(squaredMove);
}

// The lowest of the descents, the first of equals.
ForecastParameters BestOf(const std::vector<ForecastOptimizer::Descent>& descents)
{
    ForecastParameters best{};
    double bestSse = DBL_MAX;
    for (const ForecastOptimizer::Descent& descent : descents)
        if (descent.sse < bestSse)
        {
            bestSse = descent.sse;
            best = descent.parameters;
        }
    return best;
}

// Parameter sets that wait for their sums, laid out for the kernel.
class EvaluationBatch
{
public:
    EvaluationBatch(const SmoothingProblem& problem, const SmoothingKernel& kernel, std::size_t capacity)
        : m_problem(problem), m_kernel(kernel), m_lanes(static_cast<std::size_t>(kernel.lanes)),
          m_ring(problem.season == 0 ? 0 : static_cast<std::size_t>(problem.frequency) * m_lanes),
          m_alpha(capacity + m_lanes), m_beta(capacity + m_lanes), m_gamma(capacity + m_lanes),
          m_sse(capacity + m_lanes)
    {
    }

    void Clear() { m_count = 0; }

    void Add(const ForecastParameters& parameters)
    {
        m_alpha[m_count] = parameters[0];
        m_beta[m_count] = parameters[1];
        m_gamma[m_count] = parameters[2];
        ++m_count;
    }

    // One pass over the series per group of lanes. The spare lanes of the last group repeat what stood there before.
    void Evaluate()
    {
        for (std::size_t first = 0; first < m_count; first += m_lanes)
            m_kernel.accumulate(
                m_problem, {&m_alpha[first], &m_beta[first], &m_gamma[first], &m_sse[first]}, m_ring.data());
    }

    // The objective's value of the i-th set.
    double Value(std::size_t i) const { return std::isnan(m_sse[i]) ? DBL_MAX : m_sse[i]; }

private:
    SmoothingProblem m_problem;
    const SmoothingKernel& m_kernel;
    std::size_t m_lanes;
    std::vector<double> m_ring;
    std::size_t m_count = 0;
    std::vector<double> m_alpha;
    std::vector<double> m_beta;
    std::vector<double> m_gamma;
    std::vector<double> m_sse;
};

void AddDifferences(const ParameterBox& box, const ForecastParameters& parameters, EvaluationBatch& batch)
{
    for (std::size_t i = 0; i < kParameters; ++i)
        if (box.IsActive(i))
            for (const double sign : {1.0, -1.0})
            {
                ForecastParameters moved = parameters;
                moved[i] += sign * DifferenceOf(parameters[i]);
                batch.Add(moved);
            }
}

}   // namespace

SmoothingObjective::SmoothingObjective(
    const std::vector<double>& series, const SmoothingComponents& components, const SmoothingStates& start)
    : m_series(series), m_components(components), m_start(start), m_season(start.season)
{
}

double SmoothingObjective::operator()(const ForecastParameters& parameters) const
{
    SmoothingState state{m_start.level[0], m_start.trend[0], 0.0};
    m_season = m_start.season;
    std::size_t position = 0;
    double sse = 0.0;
    for (const double observation : m_series)
    {
        if (m_components.HasSeason())
            state.season = m_season[position];
        const SmoothingStepResult step = SmoothingStep(m_components, parameters, observation, state);
        if (!std::isnan(observation))
            sse += (step.fitted - observation) * (step.fitted - observation);
        if (std::isnan(sse))
            return DBL_MAX;
        if (m_components.HasSeason())
        {
            m_season[position] = state.season;
            position = position + 1 < m_season.size() ? position + 1 : 0;
        }
    }
    return sse;
}

SmoothingProblem SmoothingObjective::GetProblem() const
{
    SmoothingProblem problem;
    problem.series = m_series.data();
    problem.timeSeriesLen = static_cast<int>(m_series.size());
    problem.trend = static_cast<int>(m_components.trend);
    problem.season = static_cast<int>(m_components.season);
    problem.frequency = m_components.frequency;
    problem.startLevel = m_start.level[0];
    problem.startTrend = m_start.trend[0];
    problem.startSeason = m_start.season.data();
    return problem;
}

std::vector<ParameterBox> ForecastOptimizer::Boxes(const SmoothingComponents& components)
{
    const int betaBoxes = components.HasTrend() ? kBoxesPerParameter : 1;
    const int gammaBoxes = components.HasSeason() ? kBoxesPerParameter : 1;
    const auto bound = [](bool isUsed, int box) { return isUsed ? kBoxWidth * box : 0.0; };
    std::vector<ParameterBox> boxes;
    for (int a = 0; a < kBoxesPerParameter; ++a)
        for (int b = 0; b < betaBoxes; ++b)
            for (int g = 0; g < gammaBoxes; ++g)
            {
                const bool hasTrend = components.HasTrend();
                const bool hasSeason = components.HasSeason();
                boxes.push_back({{bound(true, a), bound(hasTrend, b), bound(hasSeason, g)},
                    {bound(true, a + 1), bound(hasTrend, b + 1), bound(hasSeason, g + 1)}});
            }
    return boxes;
}

ForecastParameters ForecastOptimizer::Gradient(
    const Objective& objective, const ForecastParameters& parameters, const ParameterBox& box, double& lastValue)
{
    ForecastParameters gradient{};
    for (std::size_t i = 0; i < kParameters; ++i)
    {
        if (!box.IsActive(i))
            continue;
        ForecastParameters moved = parameters;
        moved[i] = parameters[i] + DifferenceOf(parameters[i]);
        const double upperValue = objective(moved);
        moved[i] = parameters[i] - DifferenceOf(parameters[i]);
        lastValue = objective(moved);
        gradient[i] = Slope(upperValue, lastValue, parameters[i]);
    }
    return gradient;
}

ForecastOptimizer::Descent ForecastOptimizer::GradientDescent(const Objective& objective, const ParameterBox& box)
{
    Descent descent{CentreOf(box), DBL_MAX};
    for (int iteration = 0; iteration <= kLastIteration; ++iteration)
    {
        const ForecastParameters gradient = Gradient(objective, descent.parameters, box, descent.sse);
        if (MoveDown(gradient, box, descent.parameters) <= kShortestMove)
            break;
    }
    return descent;
}

ForecastParameters ForecastOptimizer::OptimizeParameters(const SmoothingObjective& objective)
{
    return OptimizeParameters(objective, BestSmoothingKernel());
}

// GradientDescent from all starts side by side: each round moves every descent under way by one step. Those that end leave
// the list, so the evaluations of a round always stand close together.
ForecastParameters ForecastOptimizer::OptimizeParameters(
    const SmoothingObjective& objective, const SmoothingKernel& kernel)
{
    const std::vector<ParameterBox> boxes = Boxes(objective.GetComponents());
    std::vector<Descent> descents;
    std::vector<std::size_t> underWay;
    for (const ParameterBox& box : boxes)
    {
        underWay.push_back(descents.size());
        descents.push_back({CentreOf(box), DBL_MAX});
    }

    EvaluationBatch batch(objective.GetProblem(), kernel, 2 * kParameters * boxes.size());
    CancellationChecker roundChecker(1);   // a round over a long series takes a while
    for (int iteration = 0; iteration <= kLastIteration && !underWay.empty(); ++iteration)
    {
        roundChecker.ThrowIfCancelled();
        batch.Clear();
        for (const std::size_t start : underWay)
            AddDifferences(boxes[start], descents[start].parameters, batch);
        batch.Evaluate();

        std::size_t evaluation = 0;
        const auto hasEnded = [&](std::size_t start)
        {
            Descent& descent = descents[start];
            ForecastParameters gradient{};
            for (std::size_t i = 0; i < kParameters; ++i)
            {
                if (!boxes[start].IsActive(i))
                    continue;
                descent.sse = batch.Value(evaluation + 1);
                gradient[i] = Slope(batch.Value(evaluation), descent.sse, descent.parameters[i]);
                evaluation += 2;
            }
            return MoveDown(gradient, boxes[start], descent.parameters) <= kShortestMove;
        };
        underWay.erase(std::remove_if(underWay.begin(), underWay.end(), hasEnded), underWay.end());
    }
    return BestOf(descents);
}
