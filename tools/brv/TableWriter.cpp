#include "ForecastWriter.h"
#include "Text.h"
#include "TextTable.h"

#include <algorithm>
#include <cmath>

namespace
{

constexpr int kDigits = 5;   // significant digits of the largest number in a table

class TableWriter : public IForecastWriter
{
public:
    explicit TableWriter(const ForecastContext& context) : m_context(context) {}

    std::string Begin() override { return {}; }

    std::string Partition(const PartitionForecast& forecast) override
    {
        const ForecastModel& model = *forecast.model;
        m_largest = LargestForecast(model);
        std::string text = m_isFirst ? "" : "\n\n";
        m_isFirst = false;
        text += Heading(forecast) + "\n";
        text +=
            LabelledLine("Model", ComponentName(model.GetErrorType()) + " error, " + ModelName(model, m_context.axis));
        text += LabelledLine("", "alpha " + FixedNumber(model.GetLevelParam(), 4) +
                                     (model.IsTrend() ? "   beta " + FixedNumber(model.GetTrendParam(), 4) : "") +
                                     (model.IsSeason() ? "   gamma " + FixedNumber(model.GetSeasonParam(), 4) : ""));
        text += LabelledLine("Quality", QualityName(model.GetQuality()));
        text += LabelledLine("Errors", Errors(model));
        if (forecast.hasIntervals)
            text += Facts(model);
        else
            text +=
                LabelledLine("Intervals", "none: the residuals spread too wide for this kind of model (outcome 24)");
        return text + "\n" + Forecasts(forecast);
    }

    std::string End(const std::vector<std::string>&, bool) override { return {}; }

private:
    std::string Number(double value) const { return CellNumber(value, m_largest, kDigits); }
    static std::string Percent(double value) { return FixedNumber(value, 1) + " %"; }

    static double LargestForecast(const ForecastModel& model)
    {
        double largest = 0.0;
        for (const auto* values :
            {&model.GetForecast(), &model.GetLowerPredictionInterval(), &model.GetUpperPredictionInterval()})
            for (const double value : *values)
                largest = std::isfinite(value) ? std::max(largest, std::abs(value)) : largest;
        return largest;
    }

    std::string Heading(const PartitionForecast& forecast) const
    {
        const Series& series = *forecast.series;
        const auto missing =
            std::count_if(series.values.begin(), series.values.end(), [](double v) { return std::isnan(v); });
        std::string title = m_context.valueName;
        for (std::size_t i = 0; i < m_context.byNames.size(); ++i)
            title.append(", ").append(m_context.byNames[i]).append(" = ").append(series.partition[i]);
        title = Printable(title);
        const std::size_t width = CharacterCount(title);
        title.append("\n").append(width, '=').append("\n");
        const std::string unit = m_context.axis.HasDates() ? LevelName(m_context.axis.GetLevel()) : "position";
        title += LabelledLine("Series",
            std::to_string(series.values.size()) + " " + unit + "s from " + m_context.axis.Label(series.first) +
                " to " + m_context.axis.Label(forecast.PeriodOf(m_context.axis, forecast.SeriesLength() - 1)) +
                (missing > 0 ? ", " + std::to_string(missing) + " of them missing" : "") +
                (series.ignored.empty() ? "" : ", " + std::to_string(series.ignored.size()) + " more ignored"));
        return title.substr(0, title.size() - 1);
    }

    static std::string Errors(const ForecastModel& model)
    {
        const double largest = model.GetRMSE();
        return "RMSE " + CellNumber(largest, largest, 4) + "   MAE " + CellNumber(model.GetMAE(), largest, 4) +
               "   MAPE " + FixedNumber(model.GetMAPE(), 2) + " %   MASE " + FixedNumber(model.GetMASE(), 3) +
               "   AIC " + FixedNumber(model.GetAIC(), 2);
    }

    std::string Facts(const ForecastModel& model) const
    {
        const StatisticInfo& first = model.GetFirstForecastInfo();
        const StatisticInfo& change = model.GetChangeOverTimeInfo();
        std::string text = LabelledLine("First forecast",
            Number(first.value) + " +- " + Number(first.interval) + " (" + Percent(first.intervalPercent) + ")");
        text +=
            LabelledLine("Change", Number(change.value) + " (" + Percent(change.valuePercent) + "), mean interval +- " +
                                       Number(change.interval) + " (" + Percent(change.intervalPercent) + ")");
        if (model.IsSeason())
        {
            text += SeasonFact("Season high", model.GetSeasonHigh(), model.GetSeasonType());
            text += SeasonFact("Season low", model.GetSeasonLow(), model.GetSeasonType());
        }
        if (model.IsTrend() || model.IsSeason())
            text +=
                LabelledLine("Contributions", "trend " + Percent(model.GetTrendContribution().valuePercent) +
                                                  "   season " + Percent(model.GetSeasonalContribution().valuePercent));
        return text;
    }

    std::string SeasonFact(const std::string& label, const StatisticInfo& fact, ForecastComponentType type) const
    {
        const bool isFactor = type == ForecastComponentType::Multiplicative;
        return LabelledLine(
            label, m_context.axis.Label(fact.date) + "   " +
                       (isFactor ? "factor " + FixedNumber(fact.value, 3)
                                 : Number(fact.value) + " (" + Percent(fact.valuePercent) + " of the level)"));
    }

    std::string Forecasts(const PartitionForecast& forecast) const
    {
        const ForecastModel& model = *forecast.model;
        const std::string share =
            FixedNumber(100.0 * m_context.confidence, DecimalsFor(100.0 * m_context.confidence, 2)) + " %";
        TextTable table({m_context.axis.HasDates() ? LevelName(m_context.axis.GetLevel()) : "position", "forecast",
            "lower " + share, "upper " + share});
        for (int h = 0; h < model.GetForecastLen(); ++h)
        {
            table.Add({m_context.axis.Label(forecast.PeriodOf(m_context.axis, forecast.SeriesLength() + h)),
                Number(model.GetForecast(h)),
                forecast.hasIntervals ? Number(model.GetLowerPredictionInterval(h)) : "n/a",
                forecast.hasIntervals ? Number(model.GetUpperPredictionInterval(h)) : "n/a"});
        }
        return table.ToText();
    }

    const ForecastContext& m_context;
    double m_largest = 0.0;
    bool m_isFirst = true;
};

}   // namespace

std::unique_ptr<IForecastWriter> MakeTableWriter(const ForecastContext& context)
{
    return std::make_unique<TableWriter>(context);
}
