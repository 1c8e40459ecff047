#pragma once

#include "ChartScale.h"

#include <functional>
#include <string>
#include <vector>

// Pieces of SVG that the charts share. Positions are pixels from the top left corner. The classes "title", "grid" and
// "axis" are always there.
namespace Svg
{

// Style rules of a chart: for all readers, and what changes for those who prefer dark pages.
struct Rules
{
    const char* light;
    const char* dark;
};

// A whole document: the shapes on a page whose colours follow the reader's light or dark setting.
std::string Document(
    const std::string& title, double width, double height, const Rules& rules, const std::string& shapes);

std::string Pixels(double position);
// `anchor` is "start", "middle" or "end"; the text may hold anything.
std::string TextAt(double x, double y, const char* anchor, const std::string& text, const char* style = nullptr);
std::string LineAt(double x1, double y1, double x2, double y2, const char* style);
// What the labels of a vertical axis need left of the plot.
double LabelRoom(const std::vector<Tick>& ticks);
// The labels of a vertical axis, left of the plot, and lines across it at all but the lowest.
std::string ValueGrid(
    const std::vector<Tick>& ticks, const std::function<double(double)>& yOf, double left, double right);

}   // namespace Svg
