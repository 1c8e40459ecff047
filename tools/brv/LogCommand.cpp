#include "LogCommand.h"

#include "Console.h"
#include "InputFile.h"
#include "Interrupt.h"
#include "Text.h"
#include "brvcore/foundation/CancellationChecker.h"
#include "brvcore/runtime/LogImpl.h"

#include <array>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <stdexcept>
#include <string_view>
#include <system_error>

#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

namespace
{

// Cuts bytes into the lines of a channel, and tells once when the file system does not take them: the channel goes on, so
// that who writes to this program is not held up.
class LineWriter
{
public:
    LineWriter(TLog::RotateFileChannel& channel, const std::string& file) : m_channel(channel), m_file(file) {}

    void Write(std::string_view bytes)
    {
        for (std::size_t end = bytes.find('\n'); end != std::string_view::npos; end = bytes.find('\n'))
        {
            WriteLine(bytes.substr(0, end));
            bytes.remove_prefix(end + 1);
        }
        m_begun.append(bytes);
        if (m_begun.size() >= kMostLineB)
            WriteLine({});
        if (const std::error_code error = m_channel.Flush(); error && !m_error)
        {
            m_error = error;
            Console::ComplainAbout(m_file, "cannot be written for now: " + error.message());
        }
    }

    // Throws std::runtime_error when lines are lost.
    void Finish()
    {
        if (!m_begun.empty())
            WriteLine({});
        const std::error_code error = m_channel.Close();
        const std::uint64_t lost = m_channel.GetDroppedLines();
        if (lost == 0 && !error)
            return;
        const std::string reason = (error ? error : m_error).message();
        throw std::runtime_error(m_file + ": " + Counted(lost, "line") + " could not be written: " + reason);
    }

    std::uint64_t GetLines() const noexcept { return m_lines; }

private:
    static constexpr std::size_t kMostLineB = std::size_t{1} << 24;

    // What was begun, and this end of it.
    void WriteLine(std::string_view end)
    {
        if (m_begun.empty())
            m_channel.Write(LogSeverity::Info, end);
        else
            m_channel.Write(LogSeverity::Info, m_begun.append(end));
        m_begun.clear();
        ++m_lines;
    }

    TLog::RotateFileChannel& m_channel;
    const std::string& m_file;
    std::string m_begun;   // a line whose end has not come yet
    std::uint64_t m_lines = 0;
    std::error_code m_error;   // the first
};

// Ctrl-C in a terminal reaches the program before a pipe too, and what that still writes belongs to the log.
bool IsPipe()
{
    struct stat status;
    return ::fstat(STDIN_FILENO, &status) == 0 && (S_ISFIFO(status.st_mode) || S_ISSOCK(status.st_mode));
}

// What has come on the standard input; nothing at its end, and, unless it is a pipe, after Ctrl-C.
std::string_view ReadPiece(std::array<char, 1 << 16>& block)
{
    constexpr int kPatience = 100;   // milliseconds without input, after which an interruption is looked for
    const bool isPipe = IsPipe();
    while (isPipe || !IsInterrupted())
    {
        pollfd input = {STDIN_FILENO, POLLIN, 0};
        if (::poll(&input, 1, kPatience) <= 0)
            continue;
        const ssize_t count = ::read(STDIN_FILENO, block.data(), block.size());
        if (count >= 0)
            return {block.data(), static_cast<std::size_t>(count)};
        if (errno != EINTR && errno != EAGAIN)
            throw DataError(0, std::string("cannot be read: ") + std::strerror(errno), InputName("-"));
    }
    return {};
}

// Tells once a second how far it is. Nothing where the lines are typed.
class LineProgress
{
public:
    explicit LineProgress(const std::string& file) : m_file(file) {}
    ~LineProgress() { Console::HideBar(); }
    LineProgress(const LineProgress&) = delete;
    LineProgress& operator=(const LineProgress&) = delete;

    void Show(std::uint64_t lines)
    {
        const auto now = std::chrono::steady_clock::now();
        if (m_isTyped || now - m_shown < std::chrono::seconds(1))
            return;
        m_shown = now;
        Console::ShowActivity("logging to " + m_file + ", " + Counted(lines, "line"));
    }

private:
    const std::string& m_file;
    bool m_isTyped = ::isatty(STDIN_FILENO) == 1;
    std::chrono::steady_clock::time_point m_shown = std::chrono::steady_clock::now();
};

}   // namespace

ExitCode RunCommand(const LogOptions& options)
{
    const auto channel = LogImpl::CreateSizeBasedRotateAndDeleteFileChannel(
        TPath(std::filesystem::path(options.file)), options.rotateBytes, options.filesToKeep);
    if (const std::error_code error = channel->Open())
        throw std::runtime_error(options.file + ": cannot be opened: " + error.message());
    LineWriter writer(*channel, options.file);
    {
        LineProgress progress(options.file);
        std::array<char, 1 << 16> block;
        for (std::string_view piece = ReadPiece(block); !piece.empty(); piece = ReadPiece(block))
        {
            writer.Write(piece);
            progress.Show(writer.GetLines());
        }
    }
    writer.Finish();
    if (IsInterrupted())
        throw CancelledException();
    return ExitCode::Success;
}
