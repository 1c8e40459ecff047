#include "Svg.h"

#include "Text.h"

#include <algorithm>
#include <cstddef>
#include <string_view>

namespace
{

constexpr const char* kLightRules = R"(
  text { font-family: system-ui, -apple-system, "Segoe UI", Helvetica, Arial, sans-serif; font-size: 13px; fill: #59636e; }
  .page { fill: #ffffff; }
  .title { font-size: 19px; font-weight: 600; fill: #1f2328; }
  .grid { stroke: #d1d9e0; stroke-width: 1; }
  .axis { stroke: #818b98; stroke-width: 1; }
)";
constexpr const char* kDarkRules = R"(    text { fill: #9198a1; }
    .page { fill: #0d1117; }
    .title { fill: #f0f6fc; }
    .grid { stroke: #2a313c; }
    .axis { stroke: #656c76; }
)";

std::string Escaped(const std::string& text)
{
    constexpr std::string_view kNoXml[] = {"\xEF\xBF\xBE", "\xEF\xBF\xBF"};   // U+FFFE and U+FFFF
    std::string valid = ValidUtf8(text);
    for (const std::string_view character : kNoXml)
        for (std::size_t at = 0; (at = valid.find(character, at)) != std::string::npos;)
            valid.replace(at, character.size(), "\xEF\xBF\xBD");
    std::string out;
    for (const char c : valid)
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

}   // namespace

std::string Svg::Document(
    const std::string& title, double width, double height, const Rules& rules, const std::string& shapes)
{
    const std::string size = Pixels(width) + " " + Pixels(height);
    return "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 " + size + "\" width=\"" + Pixels(width) +
           "\" height=\"" + Pixels(height) + "\" role=\"img\">\n<title>" + Escaped(title) + "</title>\n<style>" +
           kLightRules + rules.light + "  @media (prefers-color-scheme: dark) {\n" + kDarkRules + rules.dark +
           "  }\n</style>\n<rect class=\"page\" width=\"100%\" height=\"100%\" rx=\"6\"/>\n" + shapes + "</svg>\n";
}

std::string Svg::Pixels(double position)
{
    return FixedNumber(position, 1);
}

std::string Svg::TextAt(double x, double y, const char* anchor, const std::string& text, const char* style)
{
    return "<text x=\"" + Pixels(x) + "\" y=\"" + Pixels(y) + "\" text-anchor=\"" + anchor + "\"" +
           (style != nullptr ? " class=\"" + std::string(style) + "\"" : "") + ">" + Escaped(text) + "</text>\n";
}

std::string Svg::LineAt(double x1, double y1, double x2, double y2, const char* style)
{
    return "<line x1=\"" + Pixels(x1) + "\" y1=\"" + Pixels(y1) + "\" x2=\"" + Pixels(x2) + "\" y2=\"" + Pixels(y2) +
           "\" class=\"" + style + "\"/>\n";
}

double Svg::LabelRoom(const std::vector<Tick>& ticks)
{
    constexpr double kCharacter = 7.6;   // the width of a digit, and a little more
    constexpr double kLeast = 64;
    constexpr double kGap = 14;
    std::size_t longest = 0;
    for (const Tick& tick : ticks)
        longest = std::max(longest, CharacterCount(tick.label));
    return std::max(kLeast, kGap + kCharacter * static_cast<double>(longest));
}

std::string Svg::ValueGrid(
    const std::vector<Tick>& ticks, const std::function<double(double)>& yOf, double left, double right)
{
    std::string svg;
    for (const Tick& tick : ticks)
    {
        const double y = yOf(tick.position);
        if (&tick != &ticks.front())
            svg += LineAt(left, y, right, y, "grid");
        svg += TextAt(left - 8, y + 4.5, "end", tick.label);
    }
    return svg;
}
