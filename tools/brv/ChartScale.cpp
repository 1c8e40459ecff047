#include "ChartScale.h"

#include "Text.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>

namespace
{

double RoundStep(double atLeast)
{
    const double power = std::pow(10.0, std::floor(std::log10(atLeast)));
    for (const double factor : {1.0, 2.0, 5.0})
        if (factor * power >= atLeast)
            return factor * power;
    return 10.0 * power;
}

// Distances between the labels of a time axis, fine to coarse.
struct DateStep
{
    DatePeriodType unit;
    int count;
    double days;   // about
    AggType label;
};

constexpr double kHour = 1.0 / 24;
constexpr double kMinute = kHour / 60;
constexpr std::array kDateSteps = {
    DateStep{DatePeriodType::Second, 1, kMinute / 60, AggType::SecondTrunc},
    DateStep{DatePeriodType::Second, 5, kMinute / 12, AggType::SecondTrunc},
    DateStep{DatePeriodType::Second, 15, kMinute / 4, AggType::SecondTrunc},
    DateStep{DatePeriodType::Minute, 1, kMinute, AggType::MinuteTrunc},
    DateStep{DatePeriodType::Minute, 5, 5 * kMinute, AggType::MinuteTrunc},
    DateStep{DatePeriodType::Minute, 15, 15 * kMinute, AggType::MinuteTrunc},
    DateStep{DatePeriodType::Hour, 1, kHour, AggType::HourTrunc},
    DateStep{DatePeriodType::Hour, 3, 3 * kHour, AggType::HourTrunc},
    DateStep{DatePeriodType::Hour, 12, 12 * kHour, AggType::HourTrunc},
    DateStep{DatePeriodType::Day, 1, 1, AggType::DayTrunc},
    DateStep{DatePeriodType::Week, 1, 7, AggType::DayTrunc},
    DateStep{DatePeriodType::Week, 2, 14, AggType::DayTrunc},
    DateStep{DatePeriodType::Month, 1, 30, AggType::MonthTrunc},
    DateStep{DatePeriodType::Quarter, 1, 91, AggType::QuarterTrunc},
    DateStep{DatePeriodType::Quarter, 2, 183, AggType::QuarterTrunc},
    DateStep{DatePeriodType::Year, 1, 365, AggType::YearTrunc},
    DateStep{DatePeriodType::Year, 2, 730, AggType::YearTrunc},
    DateStep{DatePeriodType::Year, 5, 1826, AggType::YearTrunc},
    DateStep{DatePeriodType::Year, 10, 3652, AggType::YearTrunc},
    DateStep{DatePeriodType::Year, 50, 18262, AggType::YearTrunc},
    DateStep{DatePeriodType::Year, 100, 36524, AggType::YearTrunc},
    DateStep{DatePeriodType::Year, 500, 182621, AggType::YearTrunc},
};

// The number of the step that a moment lies in, counted from year 1; years and centuries at round numbers.
std::int64_t StepNumber(DateTime moment, const DateStep& step, const IDateOptions& options)
{
    if (step.unit == DatePeriodType::Year)
        return moment.GetYear() / step.count;
    const DateTime origin = FindStartOfPeriod(DateTime(2, 1, 1), step.unit, options);
    const std::int64_t units = DatePeriodDifference(origin, moment, step.unit);   // negative in year 1
    return units >= 0 ? units / step.count : -((step.count - 1 - units) / step.count);
}

constexpr int kLabelGap = 3;   // characters between two labels, at least

std::vector<Tick> PositionTicks(std::int64_t first, int length, int room)
{
    const int label = static_cast<int>(std::to_string(first + length).size()) + kLabelGap;
    const int count = std::clamp(room / label, 1, 12);
    const auto step = static_cast<std::int64_t>(std::max(1.0, RoundStep(static_cast<double>(length) / count)));
    std::vector<Tick> ticks;
    for (int i = 0; i < length; ++i)
        if ((first + i) % step == 0)
            ticks.push_back({static_cast<double>(i), std::to_string(first + i)});
    return ticks;
}

}   // namespace

std::vector<Tick> ValueTicks(double lowest, double highest, int count, double leastStep)
{
    const double magnitude = std::max(std::abs(lowest), std::abs(highest));
    if (!(highest - lowest > 1e-12 * magnitude))   // no wider than the rounding of the labels
    {
        const double margin = std::max(1e-6, magnitude * 0.1);
        lowest -= margin;
        highest += margin;
    }
    const double step = RoundStep(std::max(leastStep, (highest - lowest) / count));
    const double first = std::floor(lowest / step);
    const double last = std::max(first + 1.0, std::floor(highest / step));
    const int decimals = std::clamp(-static_cast<int>(std::floor(std::log10(step) + 1e-9)), 0, 9);
    // Beyond these magnitudes an exponent, and as many digits as tell the ticks apart.
    const double largest = std::max(std::abs(first), std::abs(last)) * step;
    const bool isReadable = largest >= 1e-4 && largest < 1e9;
    const int digits = std::clamp(static_cast<int>(std::ceil(std::log10(largest / step))) + 1, 1, 16);
    std::vector<Tick> ticks;
    const int tickCount = static_cast<int>(last - first) + 1;
    ticks.reserve(static_cast<std::size_t>(tickCount));
    for (int i = 0; i < tickCount; ++i)
    {
        const double value = (first + i) * step;
        ticks.push_back({value, isReadable ? FixedNumber(value, decimals) : SignificantNumber(value, digits)});
    }
    return ticks;
}

std::vector<Tick> PeriodTicks(const TimeAxis& axis, const DataValue& first, int length, int room)
{
    if (!axis.HasDates())
        return PositionTicks(first.GetInteger(), length, room);
    const double days =
        (axis.Advance(first, length - 1).GetDateTime() - first.GetDateTime()).GetTotalSeconds() / 86'400;
    const auto fits = [&](const DateStep& candidate)
    {
        const std::size_t width = TimeAxis(candidate.label).Label(first).size() + kLabelGap;
        return (days / candidate.days + 1.0) * static_cast<double>(width) <= room;
    };
    const auto step = std::find_if(kDateSteps.begin(), kDateSteps.end() - 1, fits);
    const TimeAxis labels(step->label);
    std::vector<Tick> ticks;
    for (int i = 0; i < length; ++i)
    {
        const DataValue start = axis.Advance(first, i);
        const std::int64_t number = StepNumber(start.GetDateTime(), *step, axis.GetOptions());
        const bool isNew =
            start.GetDateTime() == DateTime(1, 1, 1) ? true
            : i == 0
                ? StepNumber(start.GetDateTime() - DateTimeSpan::FromSeconds(1), *step, axis.GetOptions()) != number
                : StepNumber(axis.Advance(first, i - 1).GetDateTime(), *step, axis.GetOptions()) != number;
        if (isNew)
            ticks.push_back({static_cast<double>(i), labels.Label(start)});
    }
    return ticks;
}
