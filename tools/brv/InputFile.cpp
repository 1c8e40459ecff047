#include "InputFile.h"

#include "Console.h"
#include "Interrupt.h"
#include "brvcore/foundation/CancellationChecker.h"

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace
{

// An open file, or the standard input.
class Input
{
public:
    explicit Input(const std::string& path)
        : m_isStandardInput(path == "-"),
          m_descriptor(m_isStandardInput ? STDIN_FILENO : ::open(path.c_str(), O_RDONLY | O_CLOEXEC))
    {
        const int reason = errno;
        if (m_descriptor >= 0)
            return;
        if (IsInterrupted())   // a pipe may wait for its writer for ever
            throw CancelledException();
        throw DataError(0, std::string("cannot be opened: ") + std::strerror(reason));
    }
    ~Input()
    {
        if (!m_isStandardInput)
            ::close(m_descriptor);
    }
    Input(const Input&) = delete;
    Input& operator=(const Input&) = delete;

    int GetDescriptor() const noexcept { return m_descriptor; }
    // Of a regular file; 0 where nobody knows before.
    std::uint64_t GetSizeB() const noexcept
    {
        struct stat status;
        const bool isFile = ::fstat(m_descriptor, &status) == 0 && S_ISREG(status.st_mode);
        return isFile ? static_cast<std::uint64_t>(status.st_size) : 0;
    }

private:
    bool m_isStandardInput;
    int m_descriptor;
};

DataError TooLarge(std::uint64_t mostBytes)
{
    return {0, "has more than " + std::to_string(mostBytes) + " bytes"};
}

}   // namespace

std::string ReadInput(const std::string& path, std::uint64_t mostBytes)
{
    constexpr std::size_t kSmallB = std::size_t{1} << 26;   // read in a moment: no bar
    const Input input(path);
    const std::uint64_t sizeB = input.GetSizeB();
    if (sizeB > mostBytes)
        throw TooLarge(mostBytes);
    std::string bytes;
    bytes.reserve(sizeB);
    ByteProgress progress("reading " + InputName(path), sizeB > kSmallB ? sizeB : 0);
    std::array<char, 1 << 16> block;
    for (;;)
    {
        const ssize_t count = ::read(input.GetDescriptor(), block.data(), block.size());
        if (IsInterrupted())
            throw CancelledException();
        if (count == 0)
            return bytes;
        if (count > 0)
            bytes.append(block.data(), static_cast<std::size_t>(count));
        else if (errno != EINTR)
            throw DataError(0, std::string("cannot be read: ") + std::strerror(errno));
        if (bytes.size() > mostBytes)
            throw TooLarge(mostBytes);
        progress.Show(bytes.size());
    }
}

std::string InputName(const std::string& path)
{
    return path == "-" ? "<stdin>" : path;
}
