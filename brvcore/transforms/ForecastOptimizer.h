#pragma once

#include "brvcore/transforms/ForecastTypes.h"
#include "brvcore/transforms/SmoothingKernels.h"

#include <functional>
#include <vector>

// The sum of squared one-step errors as a function of the parameters: the plain loop, one parameter set at a time. Refers
// to the series and to the first states. An object serves one thread, since the evaluations share its work space.
class SmoothingObjective
{
public:
    SmoothingObjective(
        const std::vector<double>& series, const SmoothingComponents& components, const SmoothingStates& start);

    // DBL_MAX once the running sum becomes NaN.
    double operator()(const ForecastParameters& parameters) const;

    const SmoothingComponents& GetComponents() const { return m_components; }
    SmoothingProblem GetProblem() const;

private:
    const std::vector<double>& m_series;
    SmoothingComponents m_components;
    const SmoothingStates& m_start;
    mutable std::vector<double> m_season;   // ring of the last m seasonal states
};

// Where one descent may go. A parameter whose upper bound is not above its lower bound is not moved.
struct ParameterBox
{
    ForecastParameters lower{};
    ForecastParameters upper{};

    bool IsActive(std::size_t parameter) const { return upper[parameter] > lower[parameter]; }
};

// Alpha, beta and gamma by a normalised gradient descent from many starts, each kept inside a box of its own. The boxes
// cut [0, 0.5] in five per parameter, so a model with trend and season has 125 starts.
//
// A step is 0.01 long and a box 0.1 wide: a descent finds the lowest region of its box and then keeps stepping to and fro,
// at most 101 times. The starts, not the steps, make the search robust against local minima.
class ForecastOptimizer
{
public:
    using Objective = std::function<double(const ForecastParameters&)>;

    struct Descent
    {
        ForecastParameters parameters{};
        double sse = 0.0;   // of the last evaluation: the lower side of the last active parameter's difference
    };

    // In the order of the starts: alpha runs slowest, gamma fastest.
    static std::vector<ParameterBox> Boxes(const SmoothingComponents& components);

    // The slope of the objective by central differences, not normalised; 0 for a parameter that is not active, which is
    // not evaluated. Stores the last evaluation in lastValue.
    static ForecastParameters Gradient(
        const Objective& objective, const ForecastParameters& parameters, const ParameterBox& box, double& lastValue);

    // One descent from the centre of the box.
    static Descent GradientDescent(const Objective& objective, const ParameterBox& box);

    // The parameters of the best start: the one with the lowest last evaluation, the first of equals; all 0 when none lies
    // below DBL_MAX. Evaluates many parameter sets at a time, with results equal to the last bit to those of
    // GradientDescent on every box. Polls cancellation before the starts and
    // before each round of their steps.
    static ForecastParameters OptimizeParameters(const SmoothingObjective& objective);
    static ForecastParameters OptimizeParameters(const SmoothingObjective& objective, const SmoothingKernel& kernel);
};
