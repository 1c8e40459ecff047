#include "ForecastWriter.h"

std::string ComponentName(ForecastComponentType type)
{
    switch (type)
    {
    case ForecastComponentType::Additive:
        return "additive";
    case ForecastComponentType::Multiplicative:
        return "multiplicative";
    case ForecastComponentType::None:
        break;
    }
    return "none";
}

std::string QualityName(int quality)
{
    return quality == 0 ? "good" : quality == 1 ? "fair" : "poor";
}

std::string ModelName(const ForecastModel& model, const TimeAxis& axis)
{
    const std::string trend = model.IsTrend() ? ComponentName(model.GetTrendType()) + " trend" : "no trend";
    if (!model.IsSeason())
        return trend + ", no season";
    return trend + ", " + ComponentName(model.GetSeasonType()) + " season of " + std::to_string(model.GetFrequency()) +
           " " + (axis.HasDates() ? LevelName(axis.GetLevel()) : "position") + "s";
}
