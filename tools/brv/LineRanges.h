#pragma once

#include <cstddef>
#include <string>
#include <vector>

// Ascending line numbers, for people: "line 4", "lines 2-51, 58" and, beyond `most` ranges, "lines 2, 4, 6 and 12 more".
std::string LineRanges(const std::vector<int>& lines, std::size_t most);
