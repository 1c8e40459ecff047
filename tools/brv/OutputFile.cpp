#include "OutputFile.h"

#include "Interrupt.h"
#include "brvcore/foundation/CancellationChecker.h"

#include <cerrno>
#include <cstring>
#include <fstream>
#include <stdexcept>

#include <fcntl.h>
#include <unistd.h>

namespace
{

[[noreturn]] void Fail(const std::string& path, int reason)
{
    throw std::runtime_error(path + ": cannot be written: " + std::strerror(reason));
}

}   // namespace

void CheckOutputFile(const std::string& path)
{
    constexpr int kFlags = O_WRONLY | O_CLOEXEC | O_NONBLOCK;   // a named pipe without a reader must not hold it up
    const int created = ::open(path.c_str(), kFlags | O_CREAT | O_EXCL, 0666);
    if (created >= 0)
    {
        ::close(created);
        ::unlink(path.c_str());
        return;
    }
    if (errno != EEXIST)
        Fail(path, errno);
    const int existing = ::open(path.c_str(), kFlags);
    if (existing >= 0)
        ::close(existing);
    else if (errno != ENXIO)   // the named pipe
        Fail(path, errno);
}

void WriteOutputFile(const std::string& path, std::string_view content)
{
    if (IsInterrupted())
        throw CancelledException();
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file << content;
    file.close();
    if (!file)
        Fail(path, errno);
}
