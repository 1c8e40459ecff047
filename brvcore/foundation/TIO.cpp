#include "brvcore/foundation/TIO.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace
{

// The call again as long as a signal interrupts it.
template <class Call> auto Uninterrupted(const Call& call)
{
    auto result = call();
    while (result < 0 && errno == EINTR)
        result = call();
    return result;
}

int FlagsOf(TFileIO::Mode mode)
{
    switch (mode)
    {
    case TFileIO::Mode::Read:
        return O_RDONLY;
    case TFileIO::Mode::ReadWrite:
        return O_RDWR | O_CREAT;
    case TFileIO::Mode::Truncate:
        return O_RDWR | O_CREAT | O_TRUNC;
    case TFileIO::Mode::CreateNew:
    case TFileIO::Mode::CreateNewShared:
        break;
    }
    return O_RDWR | O_CREAT | O_EXCL;
}

// Positions beyond what the system can count become negative, which it refuses.
off_t Offset(std::uint64_t position)
{
    return static_cast<off_t>(position);
}

}   // namespace

TIO::~TIO() = default;

std::size_t TMemoryIO::Read(void* buffer, std::size_t size)
{
    if (m_position >= m_bytes.size() || size == 0)
        return 0;
    const auto begin = static_cast<std::size_t>(m_position);
    const std::size_t count = std::min(size, m_bytes.size() - begin);
    std::memcpy(buffer, m_bytes.data() + begin, count);
    m_position += count;
    return count;
}

void TMemoryIO::Write(const void* bytes, std::size_t size)
{
    if (size == 0)
        return;
    if (m_position > m_bytes.max_size() || size > m_bytes.max_size() - m_position)
        throw std::length_error("TMemoryIO");
    const auto begin = static_cast<std::size_t>(m_position);
    if (m_bytes.size() < begin)
        m_bytes.resize(begin);
    const std::size_t overwritten = std::min(size, m_bytes.size() - begin);
    m_bytes.replace(begin, overwritten, static_cast<const char*>(bytes), size);
    m_position += size;
}

void TMemoryIO::SetSize(std::uint64_t size)
{
    if (size > m_bytes.max_size())
        throw std::length_error("TMemoryIO");
    m_bytes.resize(static_cast<std::size_t>(size));
}

std::string TMemoryIO::TakeBytes() noexcept
{
    m_position = 0;
    return std::exchange(m_bytes, std::string());
}

TFileIO::TFileIO(const TPath& path, Mode mode) : m_path(path)
{
    if (path.GetNative().native().find('\0') != std::string::npos)
    {
        errno = EINVAL;   // the system would open the part before it
        Fail("open");
    }
    const unsigned permissions = mode == Mode::CreateNew ? S_IRUSR | S_IWUSR : 0666U;   // less what the process masks
    m_descriptor =
        Uninterrupted([&] { return open(path.GetNative().c_str(), FlagsOf(mode) | O_CLOEXEC, permissions); });
    if (m_descriptor < 0)
        Fail("open");
}

TFileIO::~TFileIO()
{
    if (m_descriptor >= 0)
        close(m_descriptor);
}

std::size_t TFileIO::Read(void* buffer, std::size_t size)
{
    const ssize_t count = Uninterrupted([&] { return pread(m_descriptor, buffer, size, Offset(m_position)); });
    if (count < 0)
        Fail("read");
    m_position += static_cast<std::size_t>(count);
    return static_cast<std::size_t>(count);
}

void TFileIO::Write(const void* bytes, std::size_t size)
{
    const char* next = static_cast<const char*>(bytes);
    while (size > 0)
    {
        const ssize_t count = Uninterrupted([&] { return pwrite(m_descriptor, next, size, Offset(m_position)); });
        if (count == 0)
            errno = ENOSPC;   // no device should; going on would be for ever
        if (count <= 0)
            Fail("write");
        next += count;
        size -= static_cast<std::size_t>(count);
        m_position += static_cast<std::size_t>(count);
    }
}

std::uint64_t TFileIO::GetSize() const
{
    struct stat status = {};
    if (fstat(m_descriptor, &status) != 0)
        Fail("size of");
    return static_cast<std::uint64_t>(status.st_size);
}

void TFileIO::SetSize(std::uint64_t size)
{
    if (Uninterrupted([&] { return ftruncate(m_descriptor, Offset(size)); }) != 0)
        Fail("resize");
}

void TFileIO::Close()
{
    // An interrupted close has closed.
    if (const int descriptor = std::exchange(m_descriptor, -1);
        descriptor >= 0 && close(descriptor) != 0 && errno != EINTR)
        Fail("close");
}

void TFileIO::Fail(const char* what) const
{
    const int reason = errno;
    throw std::system_error(
        reason, std::generic_category(), std::string(what) + " \"" + m_path.GetNative().native() + '"');
}
