#include "brvcore/foundation/RotatingFileChannel.h"

#include "brvcore/foundation/Clock.h"
#include "brvcore/foundation/FileSystem.h"
#include "brvcore/foundation/TFormatString.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace TLog;

namespace
{

constexpr std::size_t kBlockB = 64 * 1024;              // written at once
constexpr std::size_t kMostWaitingB = 1024 * 1024;      // while the disk takes nothing
constexpr std::chrono::seconds kPauseAfterFailure{1};   // what failed seldom succeeds at once
constexpr int kMostNames = 10'000;                      // tried for one closed file
constexpr auto kAtOnce = std::chrono::steady_clock::time_point::min();

std::error_code ErrorOf(int reason) noexcept
{
    return {reason, std::generic_category()};
}

TPath MakeAbsolute(TPath path)
{
    std::error_code error;
    std::filesystem::path absolute = std::filesystem::absolute(path.GetNative(), error);
    return error ? std::move(path) : TPath(std::move(absolute));
}

void AppendDigits(std::string& text, int value, int width)
{
    std::size_t end = text.size() + static_cast<std::size_t>(width);
    text.resize(end, '0');
    for (; value != 0 && width > 0; value /= 10, --width)
        text[--end] = static_cast<char>('0' + value % 10);
}

// app.log and 2021-03-04 05:06:07.25 make app-20210304-050607-2500000.log.
TPath ClosedFilePath(const TPath& path, DateTime moment)
{
    const DateTime::Fields fields = moment.GetFields();
    std::string name = path.GetNative().stem().native() + '-';
    AppendDigits(name, fields.year, 4);
    AppendDigits(name, fields.month, 2);
    AppendDigits(name, fields.day, 2);
    name += '-';
    AppendDigits(name, fields.hour, 2);
    AppendDigits(name, fields.minute, 2);
    AppendDigits(name, fields.second, 2);
    name += '-';
    AppendDigits(name, fields.ticks, 7);
    return TPath(path.GetNative().parent_path() / (name + path.GetNative().extension().native()));
}

// Asks the file system itself, which alone knows its limits.
bool IsTooLong(const TPath& path) noexcept
{
    struct stat ignored;
    return ::lstat(path.GetNative().c_str(), &ignored) != 0 && errno == ENAMETOOLONG;
}

// The clock is asked only after a failure.
bool IsTime(std::chrono::steady_clock::time_point moment) noexcept
{
    return moment == kAtOnce || Clock::SteadyNow() >= moment;
}

// 2021-03-04 05:06:07.250
void AppendMoment(std::string& text, DateTime moment)
{
    const DateTime::Fields fields = moment.GetFields();
    AppendDigits(text, fields.year, 4);
    for (const auto& [separator, value] : {std::pair('-', fields.month), std::pair('-', fields.day),
             std::pair(' ', fields.hour), std::pair(':', fields.minute), std::pair(':', fields.second)})
    {
        text += separator;
        AppendDigits(text, value, 2);
    }
    text += '.';
    AppendDigits(text, fields.ticks / 10'000, 3);
}

// Opens at the end without ever waiting (for the reader of a pipe); -1 with errno unless it is a regular file. A link is
// refused: a rotation would rename the link and leave the file behind.
int OpenForAppending(const TPath& path, std::uint64_t& sizeB) noexcept
{
    const std::string& native = path.GetNative().native();
    if (native.find('\0') != std::string::npos)
    {
        errno = EINVAL;
        return -1;
    }
    const int descriptor =
        ::open(native.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY, 0666);
    if (descriptor < 0)
    {
        if (errno == ENXIO || errno == ELOOP)   // a pipe without a reader, a socket; a link
            errno = EINVAL;
        return -1;
    }
    struct stat status;
    int reason = ::fstat(descriptor, &status) == 0 ? 0 : errno;
    if (reason == 0 && !S_ISREG(status.st_mode))
        reason = EINVAL;
    if (reason != 0)
    {
        ::close(descriptor);
        errno = reason;
        return -1;
    }
    ::futimens(descriptor, nullptr);   // the youngest of its folder from now on
    sizeB = static_cast<std::uint64_t>(status.st_size);
    return descriptor;
}

std::uint64_t CountLines(std::string_view text) noexcept
{
    return static_cast<std::uint64_t>(std::count(text.begin(), text.end(), '\n'));
}

// Takes back the last bytes of what was just written; some files refuse (chattr +a).
bool CutOff(int descriptor, std::size_t sizeB) noexcept
{
    const off_t end = ::lseek(descriptor, 0, SEEK_CUR);
    return end >= 0 && ::ftruncate(descriptor, end - static_cast<off_t>(sizeB)) == 0;
}

void AppendEscaped(std::string& line, std::string_view text, bool isQuoted)
{
    constexpr char kHex[] = "0123456789ABCDEF";
    for (const char c : text)
    {
        const auto byte = static_cast<unsigned char>(c);
        if (c == '\n')
            line += "\\n";
        else if (c == '\r')
            line += "\\r";
        else if (c == '\t')
            line += "\\t";
        else if (byte < 0x20 || byte == 0x7F)
            (((line += "\\x") += kHex[byte >> 4]) += kHex[byte & 15]);
        else if (isQuoted && (c == '"' || c == '\\'))
            (line += '\\') += c;
        else
            line += c;
    }
}

std::string_view NameOf(const LogRecord& record)
{
    if (record.isError)
        return record.errorSeverity == LogErrorSeverity::Fatal ? "Fatal" : "Error";
    switch (record.severity)
    {
    case LogSeverity::Debug:
        return "Debug";
    case LogSeverity::Info:
        return "Info";
    case LogSeverity::Warning:
        break;
    }
    return "Warning";
}

}   // namespace

RotateFileChannel::RotateFileChannel(TPath logFile) : m_path(MakeAbsolute(std::move(logFile))) {}

RotateFileChannel::~RotateFileChannel()
{
    Close();
}

std::error_code RotateFileChannel::Open() noexcept
{
    try
    {
        const std::lock_guard lock(m_mutex);
        WriteOut();
        if (IsTooLong(ClosedFilePath(m_path, m_lastClosing)))
            return std::make_error_code(std::errc::filename_too_long);
        m_waiting.reserve(2 * kBlockB);   // so that usual lines never wait for memory
        return OpenFile();
    }
    catch (...)
    {
        return std::make_error_code(std::errc::not_enough_memory);
    }
}

void RotateFileChannel::Rotate() noexcept
{
    bool hasRotated = false;
    {
        const std::lock_guard lock(m_mutex);
        hasRotated = DoRotate();
    }
    if (hasRotated)
        OnRotated();
}

void RotateFileChannel::OnRotated() noexcept {}

void RotateFileChannel::Write(LogSeverity severity, std::string_view line) noexcept
{
    WriteLine(line, severity >= LogSeverity::Warning);
}

void RotateFileChannel::Log(const LogRecord& record) noexcept
{
    try
    {
        WriteLine(
            FormatLogLine(Clock::UniversalNow(), record), record.isError || record.severity >= LogSeverity::Warning);
    }
    catch (...)   // no memory for the line
    {
        const std::lock_guard lock(m_mutex);
        ++m_droppedLines;
    }
}

std::error_code RotateFileChannel::Flush() noexcept
{
    const std::lock_guard lock(m_mutex);
    return WriteOut();
}

std::error_code RotateFileChannel::Close() noexcept
{
    const std::lock_guard lock(m_mutex);
    if (m_descriptor < 0)
        return {};
    std::error_code error = WriteOut();
    m_droppedLines += CountLines(m_waiting);
    m_waiting.clear();
    if (::close(std::exchange(m_descriptor, -1)) != 0 && !error)
        error = ErrorOf(errno);
    return error;
}

std::uint64_t RotateFileChannel::GetDroppedLines() const noexcept
{
    const std::lock_guard lock(m_mutex);
    return m_droppedLines;
}

std::error_code RotateFileChannel::GetRotationError() const noexcept
{
    const std::lock_guard lock(m_mutex);
    return m_rotationError;
}

std::chrono::steady_clock::time_point RotateFileChannel::GetTimestamp() const noexcept
{
    return Clock::SteadyNow();
}

bool RotateFileChannel::DoRotate() noexcept
{
    if (m_descriptor < 0 || !ShouldRotate() || !IsTime(m_nextRotation))
        return false;
    WriteOut();   // what the disk does not take follows in the new file
    if (m_sizeB == 0)
    {
        m_timestamp = GetTimestamp();
        return false;
    }
    const bool isEmpty = m_sizeB == m_waiting.size();   // the disk has taken nothing yet
    if (!isEmpty)
        m_rotationError = BeginNewFile();
    const bool hasRotated = !isEmpty && !m_rotationError;
    m_nextRotation = hasRotated ? kAtOnce : Clock::SteadyNow() + kPauseAfterFailure;
    return hasRotated;
}

void RotateFileChannel::WriteWithoutRotating(LogSeverity severity, std::string_view line) noexcept
{
    const std::lock_guard lock(m_mutex);
    Append(line, severity >= LogSeverity::Warning);
}

void RotateFileChannel::WriteLine(std::string_view line, bool isUrgent) noexcept
{
    bool hasRotated = false;
    {
        const std::lock_guard lock(m_mutex);
        hasRotated = DoRotate();
        Append(line, isUrgent);
    }
    if (hasRotated)
        OnRotated();
}

void RotateFileChannel::Append(std::string_view line, bool isUrgent) noexcept
{
    const auto hasRoom = [&] {
        return m_waiting.empty() ||
               (m_waiting.size() < kMostWaitingB && line.size() < kMostWaitingB - m_waiting.size());
    };
    if (m_descriptor >= 0 && !hasRoom() && IsTime(m_nextWrite))
        WriteOut();
    if (m_descriptor < 0 || !hasRoom())
    {
        m_droppedLines += CountLines(line) + 1;
        return;
    }
    const std::size_t before = m_waiting.size();
    try
    {
        m_waiting.append(line).push_back('\n');
    }
    catch (...)
    {
        m_waiting.resize(before);
        m_droppedLines += CountLines(line) + 1;
        return;
    }
    m_sizeB += line.size() + 1;
    if ((isUrgent || m_waiting.size() >= kBlockB) && IsTime(m_nextWrite))
        WriteOut();
}

std::error_code RotateFileChannel::WriteOut() noexcept
{
    std::size_t done = 0;
    int reason = 0;
    while (m_descriptor >= 0 && done < m_waiting.size() && reason == 0)
    {
        const ssize_t written = ::write(m_descriptor, m_waiting.data() + done, m_waiting.size() - done);
        if (written > 0)
            done += static_cast<std::size_t>(written);
        else if (written == 0 || errno != EINTR)
            reason = written == 0 ? EIO : errno;
    }
    m_nextWrite = reason == 0 ? kAtOnce : Clock::SteadyNow() + kPauseAfterFailure;
    const std::size_t wholeLinesB = std::string_view(m_waiting.data(), done).rfind('\n') + 1;
    if (wholeLinesB < done && CutOff(m_descriptor, done - wholeLinesB))
        done = wholeLinesB;
    m_waiting.erase(0, done);
    if (m_waiting.empty() && m_waiting.capacity() > kMostWaitingB)   // after a giant line
        std::string().swap(m_waiting);
    return ErrorOf(reason);
}

std::error_code RotateFileChannel::OpenFile() noexcept
{
    std::uint64_t sizeB = 0;
    const int descriptor = OpenForAppending(m_path, sizeB);
    if (descriptor < 0)
        return ErrorOf(errno);
    if (m_descriptor >= 0)
        ::close(m_descriptor);
    m_descriptor = descriptor;
    m_sizeB = sizeB + m_waiting.size();
    m_timestamp = GetTimestamp();
    m_nextWrite = kAtOnce;
    return {};
}

std::error_code RotateFileChannel::BeginNewFile() noexcept
{
    try
    {
        m_waiting.reserve(2 * kBlockB);   // a giant line may have given it back
        TPath closedFile;
        const bool isInPlace = IsFileInPlace();   // or somebody has moved or removed it: there is nothing to rename
        if (isInPlace)
            if (const std::error_code error = MoveAway(closedFile))
                return error;
        const std::error_code error = OpenFile();
        if (error && isInPlace)
            FileSystem::RenameWithoutOverwriting(closedFile, m_path);
        return error;
    }
    catch (...)   // before anything was renamed
    {
        return std::make_error_code(std::errc::not_enough_memory);
    }
}

std::error_code RotateFileChannel::MoveAway(TPath& closedFile)
{
    const DateTimeSpan next = DateTimeSpan::FromTicks(1);
    DateTime moment = std::max(Clock::UniversalNow(), m_lastClosing + next);   // also when the clock was set back
    std::error_code error;
    for (int name = 0; name < kMostNames; ++name, moment = moment + next)
    {
        closedFile = ClosedFilePath(m_path, moment);
        error = FileSystem::RenameWithoutOverwriting(m_path, closedFile);
        if (!error)
            m_lastClosing = moment;
        if (error != std::errc::file_exists)
            break;
    }
    return error;
}

bool RotateFileChannel::IsFileInPlace() const noexcept
{
    struct stat open;
    struct stat named;
    return ::fstat(m_descriptor, &open) == 0 && ::lstat(m_path.GetNative().c_str(), &named) == 0 &&
           open.st_dev == named.st_dev && open.st_ino == named.st_ino;
}

SizeBasedRotateFileChannel::SizeBasedRotateFileChannel(TPath logFile, std::size_t rotateSize)
    : RotateFileChannel(std::move(logFile)), m_rotateSize(rotateSize)
{
}

bool SizeBasedRotateFileChannel::ShouldRotate() const noexcept
{
    return m_rotateSize != 0 && GetFileSizeB() >= m_rotateSize;
}

std::string TLog::FormatLogLine(DateTime moment, const LogRecord& record)
{
    std::string line;
    AppendMoment(line, moment);
    line += ' ';
    (line += NameOf(record)) += ' ';
    AppendEscaped(line, record.message.ToUTF8(), false);
    if (record.fields != nullptr)
    {
        std::string_view separator = " {\"";
        for (const auto& [key, value] : *record.fields)
        {
            line += std::exchange(separator, ", \"");
            AppendEscaped(line, key.ToUTF8(), true);
            line += "\": \"";
            AppendEscaped(line, value.ToUTF8(), true);
            line += '"';
        }
        line += record.fields->empty() ? "" : "}";
    }
    if (record.error != nullptr && record.error->IsError())
    {
        const BrevionError& error = record.error->GetError();
        line += " [0x" + TFormatString(u"%1 ").arg(error.GetCode(), 8, 16, u'0').result().ToUpper().ToUTF8();
        AppendEscaped(line, error.GetMessage().ToUTF8(), false);
        line += ']';
    }
    return line;
}
