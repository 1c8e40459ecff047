#include "CsvText.h"
#include "ForecastWriter.h"
#include "Text.h"

namespace
{

// One row per forecast period; the columns of the model and its errors repeat within a partition.
class CsvWriter : public IForecastWriter
{
public:
    explicit CsvWriter(const ForecastContext& context) : m_context(context) {}

    std::string Begin() override
    {
        std::vector<std::string> header = m_context.byNames;
        for (const char* name : {"period", "forecast", "lower", "upper", "trend", "season", "season_length", "alpha",
                 "beta", "gamma", "quality", "rmse", "mae", "mape", "mase", "aic"})
            header.emplace_back(name);
        return CsvLine(header);
    }

    std::string Partition(const PartitionForecast& forecast) override
    {
        const ForecastModel& model = *forecast.model;
        std::string text;
        for (int h = 0; h < model.GetForecastLen(); ++h)
        {
            std::vector<std::string> row = forecast.series->partition;
            row.push_back(m_context.axis.Label(forecast.PeriodOf(m_context.axis, forecast.SeriesLength() + h)));
            row.push_back(ExactNumber(model.GetForecast(h)));
            row.push_back(forecast.hasIntervals ? ExactNumber(model.GetLowerPredictionInterval(h)) : "");
            row.push_back(forecast.hasIntervals ? ExactNumber(model.GetUpperPredictionInterval(h)) : "");
            row.push_back(ComponentName(model.GetTrendType()));
            row.push_back(ComponentName(model.GetSeasonType()));
            row.push_back(model.IsSeason() ? std::to_string(model.GetFrequency()) : "");
            for (const double number : {model.GetLevelParam(), model.GetTrendParam(), model.GetSeasonParam()})
                row.push_back(ExactNumber(number));
            row.push_back(QualityName(model.GetQuality()));
            for (const double number :
                {model.GetRMSE(), model.GetMAE(), model.GetMAPE(), model.GetMASE(), model.GetAIC()})
                row.push_back(ExactNumber(number));
            text += CsvLine(row);
        }
        return text;
    }

    std::string End(const std::vector<std::string>&, bool) override { return {}; }

private:
    const ForecastContext& m_context;
};

}   // namespace

std::unique_ptr<IForecastWriter> MakeCsvWriter(const ForecastContext& context)
{
    return std::make_unique<CsvWriter>(context);
}
