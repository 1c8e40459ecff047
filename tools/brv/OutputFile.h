#pragma once

#include <string>
#include <string_view>

// Whether the file can be written, before the work whose result is to stand there; its content stays. Throws
// std::runtime_error as WriteOutputFile does.
void CheckOutputFile(const std::string& path);

// Replaces the content of a file. Throws std::runtime_error with the path and the reason, and CancelledException when
// Ctrl-C came before.
void WriteOutputFile(const std::string& path, std::string_view content);

enum class ExistingFile
{
    Replace,
    Refuse,
};

// The same in one step, for content of any size: it is written under a temporary name beside the file and then renamed, so
// that a failure or Ctrl-C leaves what was there. The file keeps its permissions, and a link its target; what is no regular
// file, such as a device, is written as it is. Shows a bar on a terminal.
// Throws std::runtime_error as WriteOutputFile does, also for an existing file that is refused, and CancelledException.
void ReplaceOutputFile(const std::string& path, std::string_view content, ExistingFile existing);
