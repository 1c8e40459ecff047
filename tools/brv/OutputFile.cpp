#include "OutputFile.h"

#include "Console.h"
#include "Interrupt.h"
#include "brvcore/foundation/CancellationChecker.h"
#include "brvcore/foundation/FileSystem.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <optional>
#include <stdexcept>
#include <system_error>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace
{

[[noreturn]] void Fail(const std::string& path, const std::string& reason)
{
    throw std::runtime_error(path + ": cannot be written: " + reason);
}
[[noreturn]] void Fail(const std::string& path, int reason)
{
    Fail(path, std::strerror(reason));
}

// A new file that goes away with the object unless it has become the output.
class TemporaryFile
{
public:
    // In the folder of `output`, which messages name.
    explicit TemporaryFile(const std::string& output, const std::filesystem::path& folder) : m_output(output)
    {
        const std::string start = ".brv-" + std::to_string(::getpid()) + "-";
        for (int number = 0; m_descriptor < 0; ++number)   // past those that a killed process has left
        {
            m_path = folder / (start + std::to_string(number));
            m_descriptor = ::open(m_path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
            if (m_descriptor < 0 && errno != EEXIST)
                Fail(m_output, errno);
        }
    }
    ~TemporaryFile()
    {
        if (m_descriptor >= 0)
            ::close(m_descriptor);
        if (!m_isRenamed)
            ::unlink(m_path.c_str());
    }
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;

    void Write(std::string_view content)
    {
        constexpr std::size_t kPiece = std::size_t{1} << 20;
        ByteProgress progress("writing " + m_output, content.size());
        for (std::string_view rest = content; !rest.empty(); progress.Show(content.size() - rest.size()))
        {
            if (IsInterrupted())
                throw CancelledException();
            const ssize_t count = ::write(m_descriptor, rest.data(), std::min(rest.size(), kPiece));
            if (count >= 0)
                rest.remove_prefix(static_cast<std::size_t>(count));
            else if (errno != EINTR)
                Fail(m_output, errno);
        }
    }
    void SetPermissions(mode_t mode)
    {
        if (::fchmod(m_descriptor, mode) != 0)
            Fail(m_output, errno);
    }
    void RenameTo(const std::filesystem::path& path, ExistingFile existing)
    {
        const int descriptor = m_descriptor;
        m_descriptor = -1;
        if (::close(descriptor) != 0)   // a network file system may tell of a full disk only now
            Fail(m_output, errno);
        if (IsInterrupted())
            throw CancelledException();
        std::error_code error;
        if (existing == ExistingFile::Replace)
            std::filesystem::rename(m_path, path, error);
        else
            error = FileSystem::RenameWithoutOverwriting(TPath(m_path), TPath(path));
        if (error)
            Fail(m_output, error.message());
        m_isRenamed = true;
    }

private:
    const std::string& m_output;
    std::filesystem::path m_path;
    int m_descriptor = -1;
    bool m_isRenamed = false;
};

// Of an existing file, through links.
std::optional<struct stat> StatusOf(const std::string& path)
{
    struct stat status;
    return ::stat(path.c_str(), &status) == 0 ? std::optional(status) : std::nullopt;
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
    if (!file && IsInterrupted())   // it waited for a reader
        throw CancelledException();
    if (!file)
        Fail(path, errno);
}

void ReplaceOutputFile(const std::string& path, std::string_view content, ExistingFile existing)
{
    const std::optional<struct stat> before = StatusOf(path);
    if (before && existing == ExistingFile::Refuse)
        Fail(path, EEXIST);
    if (before && !S_ISREG(before->st_mode))
    {
        WriteOutputFile(path, content);
        return;
    }
    std::error_code error;
    const std::filesystem::path target = before ? std::filesystem::canonical(path, error) : std::filesystem::path(path);
    if (error)
        Fail(path, error.message());
    TemporaryFile file(path, target.parent_path());
    if (before)
        file.SetPermissions(before->st_mode & 07777);
    file.Write(content);
    file.RenameTo(target, existing);
}
