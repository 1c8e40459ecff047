#include "ScatterChart.h"

#include "ChartScale.h"
#include "Failure.h"
#include "Svg.h"
#include "Text.h"

#include <algorithm>
#include <cmath>

using Svg::LineAt;
using Svg::Pixels;
using Svg::TextAt;

namespace
{

// Pixels.
constexpr double kWidth = 960;
constexpr double kHeight = 600;
constexpr double kRight = 196;   // with the legend
constexpr double kTop = 96;
constexpr double kBottom = 64;
constexpr double kLegendLine = 23;
constexpr int kValueTicks = 6;
constexpr std::size_t kMostCharacters = 60;   // of a name

// Colours repeat after as many clusters, with square dots; the numbers at the centres tell all of them apart.
constexpr std::size_t kColours = 8;
constexpr const char* kLightRules = R"(  .name, .number { font-weight: 600; fill: #1f2328; }
  .dot { stroke: currentColor; stroke-opacity: 0.75; stroke-width: 7; stroke-linecap: round; fill: none; }
  .square { stroke-width: 6; stroke-linecap: square; }
  .outlier { stroke: currentColor; stroke-width: 2; stroke-linecap: round; fill: none; }
  .centre { fill: currentColor; stroke: #1f2328; stroke-width: 1.6; stroke-linejoin: round; }
  .number { paint-order: stroke; stroke: #ffffff; stroke-width: 4; stroke-linejoin: round; }
  .legend { color: #59636e; }
  .c0 { color: #0969da; } .c1 { color: #e0780a; } .c2 { color: #1a7f37; } .c3 { color: #8250df; }
  .c4 { color: #cf222e; } .c5 { color: #1b8a92; } .c6 { color: #bf3989; } .c7 { color: #7d5a00; }
)";
constexpr const char* kDarkRules = R"(    .name, .number { fill: #f0f6fc; }
    .centre { stroke: #f0f6fc; }
    .number { stroke: #0d1117; }
    .legend { color: #9198a1; }
    .c0 { color: #58a6ff; } .c1 { color: #f0a33a; } .c2 { color: #3fb950; } .c3 { color: #bc8cff; }
    .c4 { color: #ff7b72; } .c5 { color: #39c5cf; } .c6 { color: #f778ba; } .c7 { color: #d4b106; }
)";

// What one axis shows: a column, or the lines of the rows.
class Dimension
{
public:
    Dimension(const Clustering& clustering, std::optional<std::size_t> column)
        : m_clustering(clustering), m_column(column), m_scale(ChooseScale())
    {
    }

    std::string Name() const
    {
        return m_column ? Shortened(m_clustering.ColumnName(*m_column), kMostCharacters) : "line";
    }
    const ValueScale& GetScale() const { return m_scale; }

    double ValueOf(std::size_t row) const
    {
        return m_column ? m_clustering.GetInput().values(row, *m_column)
                        : static_cast<double>(m_clustering.GetTable().rows[row].line);
    }
    double CentreOf(std::size_t cluster) const
    {
        if (m_column)
            return m_clustering.Centre(cluster, *m_column);
        const std::vector<std::size_t>& rows = m_clustering.MembersOf(cluster).rows;
        double sum = 0.0;
        for (const std::size_t row : rows)
            sum += ValueOf(row);
        return sum / static_cast<double>(rows.size());
    }

private:
    ValueScale ChooseScale() const
    {
        double lowest = 0.0;
        double highest = 0.0;
        bool isFirst = true;
        for (std::size_t row = 0; row < m_clustering.GetTable().rows.size(); ++row)
            if (m_clustering.IsClustered(row))
            {
                lowest = isFirst ? ValueOf(row) : std::min(lowest, ValueOf(row));
                highest = isFirst ? ValueOf(row) : std::max(highest, ValueOf(row));
                isFirst = false;
            }
        if (!m_column)
            return {lowest - 1.0, highest, kValueTicks, 1.0};   // lines are whole; the first is off the axis
        return {lowest, highest, kValueTicks};
    }

    const Clustering& m_clustering;
    std::optional<std::size_t> m_column;
    ValueScale m_scale;
};

class Scatter
{
public:
    Scatter(const Clustering& clustering, std::optional<std::size_t> x, std::optional<std::size_t> y)
        : m_clustering(clustering), m_x(clustering, x), m_y(clustering, y),
          m_left(Svg::LabelRoom(m_y.GetScale().GetTicks()))
    {
    }

    std::string Title() const
    {
        const std::size_t count = m_clustering.ClusterCount();
        const std::string& path = m_clustering.GetTable().file;
        return Counted(count, "cluster") + " in " + Shortened(path.substr(path.find_last_of('/') + 1), kMostCharacters);
    }

    std::string Draw() const
    {
        std::string svg = Heading() + Axes();
        for (std::size_t k = 0; k < m_clustering.ClusterCount(); ++k)
            svg += InColour(k, Dots(k));
        for (std::size_t k = 0; k < m_clustering.ClusterCount(); ++k)
            svg += InColour(k, Outliers(k));
        for (std::size_t k = 0; k < m_clustering.ClusterCount(); ++k)
        {
            const double x = X(m_x.CentreOf(k));
            const double y = Y(m_y.CentreOf(k));
            svg += InColour(k, Diamond(x, y) + TextAt(x + 13, y + 4.5, "start", std::to_string(k + 1), "number"));
        }
        return svg + Legend();
    }

private:
    double X(double value) const { return m_left + (kWidth - m_left - kRight) * m_x.GetScale().ShareOf(value); }
    double Y(double value) const
    {
        return kHeight - kBottom - (kHeight - kTop - kBottom) * m_y.GetScale().ShareOf(value);
    }

    std::string Heading() const
    {
        const std::size_t total = m_clustering.GetTable().rows.size();
        const std::size_t outside =
            m_clustering.GetInput().missingLines.size() + m_clustering.GetInput().weightlessLines.size();
        return TextAt(m_left, 34, "start", Title(), "title") +
               TextAt(m_left, 56, "start",
                   "k-means of " + Counted(total - outside, "row") + " by " +
                       Counted(m_clustering.ColumnCount(), "column") +
                       (outside > 0 ? "; " + std::to_string(outside) + " more not clustered" : ""));
    }

    std::string Axes() const
    {
        const double right = kWidth - kRight;
        const double bottom = kHeight - kBottom;
        std::string svg = Svg::ValueGrid(
            m_y.GetScale().GetTicks(), [this](double value) { return Y(value); }, m_left, right);
        for (const Tick& tick : m_x.GetScale().GetTicks())
        {
            const double x = X(tick.position);
            if (&tick != &m_x.GetScale().GetTicks().front())
                svg += LineAt(x, kTop, x, bottom, "grid");
            svg += TextAt(x, bottom + 20, "middle", tick.label);
        }
        svg += LineAt(m_left, bottom, right, bottom, "axis") + LineAt(m_left, kTop, m_left, bottom, "axis");
        return svg + TextAt(m_left, kTop - 14, "start", m_y.Name(), "name") +
               TextAt(right, bottom + 44, "end", m_x.Name(), "name");
    }

    static std::string InColour(std::size_t cluster, const std::string& shapes)
    {
        return "<g class=\"c" + std::to_string(cluster % kColours) + "\">" + shapes + "</g>\n";
    }

    static std::string Path(const std::string& style, const std::string& steps)
    {
        return steps.empty() ? "" : "<path class=\"" + style + "\" d=\"" + steps + "\"/>";
    }
    static std::string DotStyle(std::size_t cluster) { return cluster / kColours % 2 == 0 ? "dot" : "dot square"; }
    static std::string MoveTo(double x, double y)
    {
        std::string step(1, 'M');
        return step.append(Pixels(x)).append(1, ' ').append(Pixels(y));
    }
    static std::string DotAt(double x, double y) { return MoveTo(x, y) + "h0.1"; }
    static std::string CrossAt(double x, double y) { return MoveTo(x - 4, y - 4) + "l8 8m-8 0l8 -8"; }
    static std::string Diamond(double x, double y) { return Path("centre", MoveTo(x, y - 9) + "l9 9l-9 9l-9 -9z"); }

    // One path for all dots of a cluster: a hundred thousand rows stay a file that viewers can open.
    std::string Dots(std::size_t cluster) const
    {
        std::string steps;
        for (const std::size_t row : m_clustering.MembersOf(cluster).rows)
            steps += DotAt(X(m_x.ValueOf(row)), Y(m_y.ValueOf(row)));
        return Path(DotStyle(cluster), steps);
    }
    std::string Outliers(std::size_t cluster) const
    {
        std::string steps;
        for (const std::size_t row : m_clustering.MembersOf(cluster).outliers)
            steps += CrossAt(X(m_x.ValueOf(row)), Y(m_y.ValueOf(row)));
        return Path("outlier", steps);
    }

    // Right of the plot, from the top: the clusters with their sizes, as many as fit, and the signs.
    std::string Legend() const
    {
        const double left = kWidth - kRight + 30;
        const double textLeft = left + 16;
        const auto room = static_cast<std::size_t>((kHeight - kTop - kBottom) / kLegendLine) - 3;
        double y = kTop + 8;
        std::string svg;
        const auto entry = [&](const std::string& sign, const std::string& text)
        {
            svg += sign + TextAt(textLeft, y + 4.5, "start", text);
            y += kLegendLine;
        };
        const std::size_t count = m_clustering.ClusterCount();
        for (std::size_t k = 0; k < std::min(count, room); ++k)
            entry(InColour(k, Path(DotStyle(k), DotAt(left, y))),
                "cluster " + std::to_string(k + 1) + " (" + std::to_string(m_clustering.MembersOf(k).rows.size()) +
                    ")");
        if (count > room)
            entry("", "and " + std::to_string(count - room) + " more");
        const std::size_t outliers = m_clustering.OutlierCount();
        if (outliers > 0)
            entry("<g class=\"legend\">" + Path("outlier", CrossAt(left, y)) + "</g>\n",
                "outliers (" + std::to_string(outliers) + ")");
        entry("<g class=\"legend\">" + Diamond(left, y) + "</g>\n", "centres");
        return svg;
    }

    const Clustering& m_clustering;
    Dimension m_x;
    Dimension m_y;
    double m_left;
};

}   // namespace

std::optional<ScatterAxes> FindAxes(
    const CsvTable& table, const ClusterInput& input, const std::vector<std::string>& names)
{
    if (names.empty())
        return std::nullopt;
    const auto find = [&](const std::string& name)
    {
        const auto found = std::find(input.columns.begin(), input.columns.end(), table.FindColumn(name));
        if (found == input.columns.end())
            throw DataError(
                table.headerLine, "the column " + Quoted(name) + " of --axes is none of those clustered by");
        return static_cast<std::size_t>(found - input.columns.begin());
    };
    return ScatterAxes{find(names[0]), find(names[1])};
}

std::string DrawScatterChart(const Clustering& clustering, const std::optional<ScatterAxes>& axes)
{
    std::optional<std::size_t> x;   // the line
    std::optional<std::size_t> y;
    const std::vector<std::size_t> columns = clustering.ColumnsBySeparation();
    if (axes)
    {
        x = axes->x;
        y = axes->y;
    }
    else
    {
        y = columns.size() > 1 ? columns[1] : columns[0];
        if (columns.size() > 1)
            x = columns[0];
    }
    const Scatter scatter(clustering, x, y);
    return Svg::Document(scatter.Title(), kWidth, kHeight, {kLightRules, kDarkRules}, scatter.Draw());
}
