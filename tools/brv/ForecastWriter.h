#pragma once

#include "ForecastRun.h"
#include "Options.h"

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

// One form of output. The pieces are printed as they come, one partition at a time, so that what is on the screen or in
// the pipe is always whole; Begin() + Partition()... + End() is the document.
class IForecastWriter
{
public:
    virtual ~IForecastWriter() = default;

    virtual std::string Begin() = 0;
    // Only for partitions that have a forecast.
    virtual std::string Partition(const PartitionForecast& forecast) = 0;
    virtual std::string End(const std::vector<std::string>& failures, bool isInterrupted) = 0;
};

std::unique_ptr<IForecastWriter> MakeTableWriter(const ForecastContext& context);
std::unique_ptr<IForecastWriter> MakeCsvWriter(const ForecastContext& context);
std::unique_ptr<IForecastWriter> MakeJsonWriter(const ForecastContext& context);

// Words that the forms share.
std::string ComponentName(ForecastComponentType type);   // "none", "additive", "multiplicative"
std::string QualityName(int quality);                    // "good", "fair", "poor"
// "additive trend, multiplicative season of 12 months", for people.
std::string ModelName(const ForecastModel& model, const TimeAxis& axis);
