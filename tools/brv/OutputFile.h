#pragma once

#include <string>
#include <string_view>

// Replaces the content of a file. Throws std::runtime_error with the path and the reason.
void WriteOutputFile(const std::string& path, std::string_view content);
