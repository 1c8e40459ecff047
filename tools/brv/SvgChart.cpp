#include "SvgChart.h"

#include "ChartScale.h"
#include "ForecastWriter.h"
#include "Text.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>

namespace
{

// Pixels. A panel is one forecast with its title above and its dates below.
constexpr double kWidth = 960;
constexpr double kPanelHeight = 460;
constexpr double kLeft = 64;
constexpr double kRight = 24;
constexpr double kTop = 84;
constexpr double kBottom = 44;
constexpr int kValueTicks = 5;
constexpr int kPeriodRoom = 116;   // characters that fit below the axis

constexpr const char* kStyle = R"(<style>
  text { font-family: system-ui, -apple-system, "Segoe UI", Helvetica, Arial, sans-serif; font-size: 13px; fill: #59636e; }
  .page { fill: #ffffff; }
  .title { font-size: 19px; font-weight: 600; fill: #1f2328; }
  .grid { stroke: #d1d9e0; stroke-width: 1; }
  .axis { stroke: #818b98; stroke-width: 1; }
  .split { stroke: #818b98; stroke-width: 1; stroke-dasharray: 3 4; }
  .history { stroke: #1f2328; stroke-width: 2.2; fill: none; stroke-linejoin: round; stroke-linecap: round; }
  .ignored { stroke: #818b98; stroke-width: 1.5; fill: none; stroke-dasharray: 1 4; stroke-linecap: round; }
  .fit { stroke: #e0780a; stroke-width: 1.3; fill: none; stroke-linejoin: round; }
  .forecast { stroke: #0969da; stroke-width: 2.4; fill: none; stroke-linejoin: round; stroke-linecap: round; }
  .band { fill: #0969da; fill-opacity: 0.18; }
  @media (prefers-color-scheme: dark) {
    text { fill: #9198a1; }
    .page { fill: #0d1117; }
    .title { fill: #f0f6fc; }
    .grid { stroke: #2a313c; }
    .axis, .split { stroke: #656c76; }
    .history { stroke: #c9d1d9; }
    .ignored { stroke: #9198a1; }
    .fit { stroke: #f0a33a; }
    .forecast { stroke: #58a6ff; }
    .band { fill: #58a6ff; fill-opacity: 0.25; }
  }
</style>
)";

std::string Xml(const std::string& text)
{
    std::string out;
    for (const char c : ValidUtf8(text))
    {
        if (c == '&')
            out += "&amp;";
        else if (c == '<')
            out += "&lt;";
        else if (c == '>')
            out += "&gt;";
        else
            out += static_cast<unsigned char>(c) < 0x20 ? ' ' : c;   // XML knows no control characters
    }
    return out;
}

std::string Pixels(double position)
{
    return FixedNumber(position, 1);
}

std::string TextAt(double x, double y, const char* anchor, const std::string& text, const char* style = nullptr)
{
    return "<text x=\"" + Pixels(x) + "\" y=\"" + Pixels(y) + "\" text-anchor=\"" + anchor + "\"" +
           (style != nullptr ? " class=\"" + std::string(style) + "\"" : "") + ">" + Xml(text) + "</text>\n";
}

std::string LineAt(double x1, double y1, double x2, double y2, const char* style)
{
    return "<line x1=\"" + Pixels(x1) + "\" y1=\"" + Pixels(y1) + "\" x2=\"" + Pixels(x2) + "\" y2=\"" + Pixels(y2) +
           "\" class=\"" + style + "\"/>\n";
}

// One forecast. Periods are counted from the first observed one; the forecast follows the last.
class Panel
{
public:
    Panel(const ForecastContext& context, const PartitionForecast& forecast, double top)
        : m_context(context), m_forecast(forecast), m_model(*forecast.model), m_top(top),
          m_observed(forecast.SeriesLength()), m_length(std::max(m_observed + m_model.GetForecastLen(),
                                                   m_observed + static_cast<int>(forecast.series->ignored.size()))),
          m_ticks(ChooseValueTicks())
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
    double X(double period) const { return kLeft + (kWidth - kLeft - kRight) * period / std::max(1, m_length - 1); }
    double Y(double value) const
    {
        const double low = m_ticks.front().position;
        const double high = std::max(m_ticks.back().position, m_highest);
        const double height = kPanelHeight - kTop - kBottom;
        return m_top + kTop + height * (high - value) / (high - low);
    }

    std::vector<Tick> ChooseValueTicks()
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
        m_highest = highest + 0.03 * (highest - lowest);   // thick lines do not touch the edge
        return ValueTicks(lowest, highest, kValueTicks);
    }

    std::string Heading() const
    {
        std::string title = "Forecast of " + m_context.valueName;
        for (std::size_t i = 0; i < m_context.byNames.size(); ++i)
            title += ", " + m_context.byNames[i] + " = " + m_forecast.series->partition[i];
        return TextAt(kLeft, m_top + 32, "start", title, "title") +
               TextAt(kLeft, m_top + 53, "start",
                   "Exponential smoothing: " + ModelName(m_model, m_context.axis) + "; " +
                       QualityName(m_model.GetQuality()) + " fit, MASE " + FixedNumber(m_model.GetMASE(), 2));
    }

    std::string Axes() const
    {
        std::string svg;
        const double bottom = m_top + kPanelHeight - kBottom;
        for (const Tick& tick : m_ticks)
        {
            if (&tick != &m_ticks.front())
                svg += LineAt(kLeft, Y(tick.position), kWidth - kRight, Y(tick.position), "grid");
            svg += TextAt(kLeft - 8, Y(tick.position) + 4.5, "end", tick.label);
        }
        svg += LineAt(kLeft, bottom, kWidth - kRight, bottom, "axis");
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
    double m_highest = 0.0;
    std::vector<Tick> m_ticks;
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
    const std::string size = Pixels(kWidth) + " " + Pixels(std::max(height, 1.0));
    return "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 " + size + "\" width=\"" + Pixels(kWidth) +
           "\" height=\"" + Pixels(std::max(height, 1.0)) + "\" role=\"img\">\n<title>" +
           Xml("Forecast of " + context.valueName) + "</title>\n" + kStyle +
           "<rect class=\"page\" width=\"100%\" height=\"100%\" rx=\"6\"/>\n" + panels + "</svg>\n";
}
