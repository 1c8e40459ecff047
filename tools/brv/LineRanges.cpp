#include "LineRanges.h"

std::string LineRanges(const std::vector<int>& lines, std::size_t most)
{
    std::string text = lines.size() == 1 ? "line " : "lines ";
    std::size_t ranges = 0;
    for (std::size_t first = 0; first < lines.size(); ++ranges)
    {
        if (ranges == most)
            return text + " and " + std::to_string(lines.size() - first) + " more";
        std::size_t last = first;
        while (last + 1 < lines.size() && lines[last + 1] == lines[last] + 1)
            ++last;
        text.append(ranges == 0 ? "" : ", ").append(std::to_string(lines[first]));
        if (last > first)
            text.append("-").append(std::to_string(lines[last]));
        first = last + 1;
    }
    return text;
}
