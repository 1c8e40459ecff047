#include "SvgChart.h"

#include "ChartScale.h"
#include "ForecastWriter.h"
#include "Svg.h"
#include "Text.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>

using Svg::LineAt;
using Svg::Pixels;
using Svg::TextAt;

namespace
{

// Pixels. A panel is one forecast with its title above and its dates below.
constexpr double kWidth = 960;
constexpr double kPanelHeight = 460;
constexpr double kRight = 24;
constexpr double kTop = 84;
constexpr double kBottom = 44;
constexpr int kValueTicks = 5;
constexpr int kPeriodRoom = 116;   // characters that fit below the axis

constexpr const char* kLightRules = R"(  .split { stroke: #818b98; stroke-width: 1; stroke-dasharray: 3 4; }
  .history { stroke: #1f2328; stroke-width: 2.2; fill: none; stroke-linejoin: round; stroke-linecap: round; }
  .ignored { stroke: #818b98; stroke-width: 1.5; fill: none; stroke-dasharray: 1 4; stroke-linecap: round; }
  .fit { stroke: #e0780a; stroke-width: 1.3; fill: none; stroke-linejoin: round; }
  .forecast { stroke: #0969da; stroke-width: 2.4; fill: none; stroke-linejoin: round; stroke-linecap: round; }
  .band { fill: #0969da; fill-opacity: 0.18; }
)";
constexpr const char* kDarkRules = R"(    .split { stroke: #656c76; }
    .history { stroke: #c9d1d9; }
    .ignored { stroke: #9198a1; }
    .fit { stroke: #f0a33a; }
    .forecast { stroke: #58a6ff; }
    .band { fill: #58a6ff; fill-opacity: 0.25; }
)";

// One forecast. Periods are counted from the first observed one; the forecast follows the last.
class Panel
{
public:
    Panel(const ForecastContext& context, const PartitionForecast& forecast, double top)
        : m_context(context), m_forecast(forecast), m_model(*forecast.model), m_top(top),
          m_observed(forecast.SeriesLength()), m_length(std::max(m_observed + m_model.GetForecastLen(),
                                                   m_observed + static_cast<int>(forecast.series->ignored.size()))),
          m_values(ChooseValueScale()), m_left(Svg::LabelRoom(m_values.GetTicks()))
    {
    }

    std::string Draw() const
    {
        std::string svg = Heading() + Axes();
        const int ahead = m_model.GetForecastLen();
        if (m_forecast.hasIntervals)
            svg += Band();
        svg += Curve("history", 0, m_forecast.series->values);
        svg +=
            Curve("fit", 0, std::vector<double>(m_model.GetFitted().begin(), m_model.GetFitted().begin() + m_observed));
        svg += Curve("ignored", m_observed, m_forecast.series->ignored);
        std::vector<double> tail(m_model.GetForecast().begin(), m_model.GetForecast().begin() + ahead);
        const double last = m_forecast.series->values.back();
        if (!std::isnan(last))
            tail.insert(tail.begin(), last);   // no gap between the history and its continuation
        svg += Curve("forecast", std::isnan(last) ? m_observed : m_observed - 1, tail);
        return svg + Legend();
    }

private:
    double X(double period) const { return m_left + (kWidth - m_left - kRight) * period / std::max(1, m_length - 1); }
    double Y(double value) const
    {
        const double height = kPanelHeight - kTop - kBottom;
        return m_top + kTop + height * (1.0 - m_values.ShareOf(value));
    }

    ValueScale ChooseValueScale() const
    {
        double lowest = std::numeric_limits<double>::infinity();
        double highest = -lowest;
        const auto include = [&](const std::vector<double>& values)
        {
            for (const double value : values)
                if (std::isfinite(value))
                {
                    lowest = std::min(lowest, value);
                    highest = std::max(highest, value);
                }
        };
        include(m_forecast.series->values);
        include(m_forecast.series->ignored);
        include(m_model.GetFitted());
        if (m_forecast.hasIntervals)
        {
            include(m_model.GetLowerPredictionInterval());
            include(m_model.GetUpperPredictionInterval());
        }
        // Zero belongs to the axis when it is near: a curve that hovers over a cut axis looks steeper than it is.
        if (lowest > 0.0 && lowest < 0.4 * highest)
            lowest = 0.0;
        return {lowest, highest, kValueTicks};
    }

    std::string Heading() const
    {
        std::string title = "Forecast of " + m_context.valueName;
        for (std::size_t i = 0; i < m_context.byNames.size(); ++i)
            title += ", " + m_context.byNames[i] + " = " + m_forecast.series->partition[i];
        return TextAt(m_left, m_top + 32, "start", title, "title") +
               TextAt(m_left, m_top + 53, "start",
                   "Exponential smoothing: " + ModelName(m_model, m_context.axis) + "; " +
                       QualityName(m_model.GetQuality()) + " fit, MASE " + FixedNumber(m_model.GetMASE(), 2));
    }

    std::string Axes() const
    {
        const double bottom = m_top + kPanelHeight - kBottom;
        std::string svg = Svg::ValueGrid(
            m_values.GetTicks(), [this](double value) { return Y(value); }, m_left, kWidth - kRight);
        svg += LineAt(m_left, bottom, kWidth - kRight, bottom, "axis");
        for (const Tick& tick : PeriodTicks(m_context.axis, m_forecast.series->first, m_length, kPeriodRoom))
        {
            svg += LineAt(X(tick.position), bottom, X(tick.position), bottom + 5, "axis");
            svg += TextAt(X(tick.position), bottom + 20, "middle", tick.label);
        }
        const double split = X(m_observed - 0.5);
        return svg + LineAt(split, m_top + kTop, split, bottom, "split");
    }

    // A path that breaks at missing values; a value between two missing ones becomes a dot.
    std::string Curve(const char* style, int first, const std::vector<double>& values) const
    {
        std::string path;
        for (std::size_t i = 0; i < values.size(); ++i)
        {
            if (!std::isfinite(values[i]))
                continue;
            const bool isStart = i == 0 || !std::isfinite(values[i - 1]);
            const bool isEnd = i + 1 == values.size() || !std::isfinite(values[i + 1]);
            const double x = X(first + static_cast<double>(i));
            path.append(isStart ? "M" : "L").append(Pixels(x)).append(" ").append(Pixels(Y(values[i])));
            if (isStart && isEnd)
                path += "h0.1";
        }
        return path.empty() ? "" : "<path class=\"" + std::string(style) + "\" d=\"" + path + "\"/>\n";
    }

    std::string Band() const
    {
        std::string upper;
        std::string lower;
        for (int h = 0; h < m_model.GetForecastLen(); ++h)
        {
            const double low = m_model.GetLowerPredictionInterval(h);
            const double high = m_model.GetUpperPredictionInterval(h);
            if (!std::isfinite(low) || !std::isfinite(high))
                continue;
            const std::string x = Pixels(X(m_observed + h));
            upper.append(upper.empty() ? "M" : "L").append(x).append(" ").append(Pixels(Y(high)));
            lower.insert(0, "L" + x + " " + Pixels(Y(low)));
        }
        return upper.empty() ? "" : "<path class=\"band\" d=\"" + upper + lower + "Z\"/>\n";
    }

    // Right-aligned in the line of the title; written from right to left.
    std::string Legend() const
    {
        struct Entry
        {
            const char* style;
            std::string text;
        };
        std::vector<Entry> entries = {{"history", "history"}, {"fit", "fit"}};
        if (!m_forecast.series->ignored.empty())
            entries.push_back({"ignored", "ignored"});
        entries.push_back({"forecast", "forecast"});
        if (m_forecast.hasIntervals)
            entries.push_back({"band",
                FixedNumber(100 * m_context.confidence, DecimalsFor(100 * m_context.confidence, 2)) + " % interval"});
        std::string svg;
        double right = kWidth - kRight;
        const double y = m_top + 71;
        for (auto entry = entries.rbegin(); entry != entries.rend(); ++entry)
        {
            constexpr double kSample = 26;
            constexpr double kCharacter = 6.9;
            const double left = right - kCharacter * static_cast<double>(CharacterCount(entry->text)) - kSample - 6;
            svg += TextAt(left + kSample + 6, y + 4.5, "start", entry->text);
            if (std::string(entry->style) == "band")
                svg += "<rect class=\"band\" x=\"" + Pixels(left) + "\" y=\"" + Pixels(y - 6) + "\" width=\"" +
                       Pixels(kSample) + "\" height=\"12\"/>\n";
            else
                svg += LineAt(left, y, left + kSample, y, entry->style);
            right = left - 20;
        }
        return svg;
    }

    const ForecastContext& m_context;
    const PartitionForecast& m_forecast;
    const ForecastModel& m_model;
    double m_top;
    int m_observed;
    int m_length;
    ValueScale m_values;
    double m_left;
};

}   // namespace

std::string DrawChart(const ForecastContext& context, const std::vector<PartitionForecast>& forecasts)
{
    std::string panels;
    double height = 0;
    for (const PartitionForecast& forecast : forecasts)
        if (forecast.IsForecast())
        {
            panels += Panel(context, forecast, height).Draw();
            height += kPanelHeight;
        }
    return Svg::Document(
        "Forecast of " + context.valueName, kWidth, std::max(height, 1.0), {kLightRules, kDarkRules}, panels);
}
