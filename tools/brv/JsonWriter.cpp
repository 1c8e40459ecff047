#include "ForecastWriter.h"
#include "JsonText.h"
#include "Text.h"

#include <cmath>

namespace
{

using Json = nlohmann::ordered_json;

Json FactJson(const StatisticInfo& fact)
{
    return {{"value", JsonNumber(fact.value)}, {"value_percent", JsonNumber(fact.valuePercent)},
        {"interval", JsonNumber(fact.interval)}, {"interval_percent", JsonNumber(fact.intervalPercent)}};
}

// One document: {"file", ..., "partitions": [...], "failures": [...], "interrupted"}. Numbers that do not exist are null.
class JsonWriter : public IForecastWriter
{
public:
    explicit JsonWriter(const ForecastContext& context) : m_context(context) {}

    std::string Begin() override
    {
        const Json head = {{"file", JsonText(m_context.file)},
            {"time", m_context.timeName.empty() ? Json() : JsonText(m_context.timeName)},
            {"value", JsonText(m_context.valueName)}, {"level", LevelName(m_context.axis.GetLevel())},
            {"confidence", m_context.confidence}};
        std::string text = DumpJson(head);
        text.erase(text.size() - 2);   // the brace on its own line: the document goes on
        return text + ",\n  \"partitions\": [";
    }

    std::string Partition(const PartitionForecast& forecast) override
    {
        const std::string text = DumpJson(PartitionJson(forecast));
        std::string indented = m_isFirst ? "\n    " : ",\n    ";
        m_isFirst = false;
        for (const char c : text)
            indented.append(c == '\n' ? "\n    " : std::string(1, c));
        return indented;
    }

    std::string End(const std::vector<std::string>& failures, bool isInterrupted) override
    {
        Json list = Json::array();
        for (const std::string& failure : failures)
            list.push_back(JsonText(failure));
        return std::string(m_isFirst ? "]" : "\n  ]") +
               ",\n  \"failures\": " + list.dump(-1, ' ', false, Json::error_handler_t::replace) +
               ",\n  \"interrupted\": " + (isInterrupted ? "true" : "false") + "\n}\n";
    }

private:
    Json PartitionJson(const PartitionForecast& forecast) const
    {
        const ForecastModel& model = *forecast.model;
        const Series& series = *forecast.series;
        const TimeAxis& axis = m_context.axis;
        Json partition = Json::object();
        for (std::size_t i = 0; i < m_context.byNames.size(); ++i)
            partition[ValidUtf8(m_context.byNames[i])] = JsonText(series.partition[i]);

        const int n = forecast.SeriesLength();
        int missing = 0;
        for (const double value : series.values)
            missing += std::isnan(value) ? 1 : 0;
        Json json = {{"partition", partition}, {"status", forecast.hasIntervals ? "ok" : "residuals_too_wide"},
            {"series", {{"first", axis.Label(series.first)}, {"last", axis.Label(forecast.PeriodOf(axis, n - 1))},
                           {"periods", n}, {"missing", missing}, {"ignored", series.ignored.size()}}},
            {"model", {{"error", ComponentName(model.GetErrorType())}, {"trend", ComponentName(model.GetTrendType())},
                          {"season", ComponentName(model.GetSeasonType())},
                          {"season_length", model.IsSeason() ? Json(model.GetFrequency()) : Json()},
                          {"alpha", JsonNumber(model.GetLevelParam())}, {"beta", JsonNumber(model.GetTrendParam())},
                          {"gamma", JsonNumber(model.GetSeasonParam())}}},
            {"quality", QualityName(model.GetQuality())},
            {"errors", {{"rmse", JsonNumber(model.GetRMSE())}, {"mae", JsonNumber(model.GetMAE())},
                           {"mape", JsonNumber(model.GetMAPE())}, {"mase", JsonNumber(model.GetMASE())},
                           {"aic", JsonNumber(model.GetAIC())}}},
            {"summary", forecast.hasIntervals ? SummaryJson(model) : Json()}, {"forecast", Json::array()}};
        for (int h = 0; h < model.GetForecastLen(); ++h)
            json["forecast"].push_back(
                {{"period", axis.Label(forecast.PeriodOf(axis, n + h))}, {"forecast", JsonNumber(model.GetForecast(h))},
                    {"lower", forecast.hasIntervals ? JsonNumber(model.GetLowerPredictionInterval(h)) : Json()},
                    {"upper", forecast.hasIntervals ? JsonNumber(model.GetUpperPredictionInterval(h)) : Json()}});
        return json;
    }

    Json SummaryJson(const ForecastModel& model) const
    {
        Json json = {{"first_forecast", FactJson(model.GetFirstForecastInfo())},
            {"change_over_time", FactJson(model.GetChangeOverTimeInfo())}};
        const auto addSeason = [&](const char* name, const StatisticInfo& fact)
        {
            json[name] = FactJson(fact);
            json[name]["period"] = m_context.axis.Label(fact.date);
        };
        if (model.IsSeason())
        {
            addSeason("season_high", model.GetSeasonHigh());
            addSeason("season_low", model.GetSeasonLow());
        }
        json["trend_contribution_percent"] = JsonNumber(model.GetTrendContribution().valuePercent);
        json["seasonal_contribution_percent"] = JsonNumber(model.GetSeasonalContribution().valuePercent);
        return json;
    }

    const ForecastContext& m_context;
    bool m_isFirst = true;
};

}   // namespace

std::unique_ptr<IForecastWriter> MakeJsonWriter(const ForecastContext& context)
{
    return std::make_unique<JsonWriter>(context);
}
