#include "OutputFile.h"

#include <cerrno>
#include <cstring>
#include <fstream>
#include <stdexcept>

void WriteOutputFile(const std::string& path, std::string_view content)
{
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file << content;
    file.close();
    if (!file)
        throw std::runtime_error(path + ": cannot be written: " + std::strerror(errno));
}
