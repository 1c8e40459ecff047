#pragma once

#include <string>
#include <string_view>

// Whether the file can be written, before the work whose result is to stand there; its content stays. Throws
// std::runtime_error as WriteOutputFile does.
void CheckOutputFile(const std::string& path);

// Replaces the content of a file. Throws std::runtime_error with the path and the reason, and CancelledException when
// Ctrl-C came before.
void WriteOutputFile(const std::string& path, std::string_view content);
