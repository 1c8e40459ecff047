#pragma once

#include "brvcore/foundation/BrvExport.h"
#include "brvcore/foundation/DateTime.h"
#include "brvcore/foundation/LogMessage.h"
#include "brvcore/foundation/TPath.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <string>
#include <string_view>
#include <system_error>

// Channels that append lines to a file and, when its time has come, give it another name and begin a new one.
namespace TLog
{

// One log file that is being written. A derived class says when a file is complete.
//
// Lines are collected in memory and reach the file in blocks: when 64 KiB are waiting, with a warning or an error, at Flush()
// and at the end. A process that dies takes the waiting lines with it; what Flush() wrote survives the process, but not
// the loss of power. Every call is safe from any thread; one lock guards the file, and no lock is held while older files
// are looked for.
//
// Logging never throws into the caller, whatever the file system says. On a full disk the lines wait, up to 1 MiB or one
// longer line alone, and follow in their order as soon as there is room; further ones are dropped and counted. Of a line
// that the disk takes in part nothing stays in the file, unless the file may only grow. When a file cannot be renamed or
// the next one not be opened, the present one goes on. After a failure the next attempt is made a second later; Flush()
// writes at once.
//
// A closed file gets the moment of its closing (UTC, to 100 ns) between its base name and its extension, or the next
// moment that no file bears: app.log becomes app-20210304-050607-2500000.log. A moment not after the last one, since the
// clock was set back, is replaced by the last one's successor, so that the names of one process sort by age. An existing
// file is never overwritten. A file without a line is not closed.
//
// A file belongs to one channel of one process. A second one that has it open would go on in it after the first has
// renamed it, until it is complete, and lose what it writes once that file is deleted. Nor does a channel see that
// somebody removed its file: the lines go into the removed one, uncounted, until it is complete or Open() is called.
class BRV_EXPORT RotateFileChannel
{
public:
    // A relative path is understood from where the process is now, and not followed when it goes elsewhere.
    explicit RotateFileChannel(TPath logFile);
    // Closes. No other thread may be in a call.
    virtual ~RotateFileChannel();
    RotateFileChannel(const RotateFileChannel&) = delete;
    RotateFileChannel& operator=(const RotateFileChannel&) = delete;

    // Opens the file at its end, creating it if need be (its folder must exist), and sets its write time to now. Again when
    // it is open already: for a host that has moved the file. On an error the state stays as it was. What is no regular
    // file is refused with std::errc::invalid_argument, or is_a_directory; so is a symbolic link to one (folders may be
    // links). A name that leaves no room for the moment of closing is std::errc::filename_too_long.
    virtual std::error_code Open() noexcept;

    // Begins a new file if the present one is complete. Write does so by itself, before it writes.
    void Rotate() noexcept;

    // Appends the bytes and a line feed. A line before Open() or after Close() is dropped.
    void Write(LogSeverity severity, std::string_view line) noexcept;
    // The record as one line, see FormatLogLine.
    void Log(const LogRecord& record) noexcept;

    // Hands what waits to the system. The error, if any, is why something still waits.
    std::error_code Flush() noexcept;
    // Flushes and closes; what could not be written is dropped.
    std::error_code Close() noexcept;

    const TPath& GetFilePath() const noexcept { return m_path; }
    // Lines, ended by line feeds, that were written to no file, and will not be.
    std::uint64_t GetDroppedLines() const noexcept;
    // Why the last attempt to begin a new file failed, so that the present one grows on; no error when it succeeded.
    std::error_code GetRotationError() const noexcept;

protected:
    // Asked under the lock, of an open file: is it complete? Must not call the channel's public functions.
    virtual bool ShouldRotate() const noexcept = 0;
    // After each rotation, on the thread that caused it, without the lock.
    virtual void OnRotated() noexcept;
    // The moment on the steady clock at which a new file counts as begun. Asked under the lock.
    virtual std::chrono::steady_clock::time_point GetTimestamp() const noexcept;

    // For ShouldRotate: bytes of the file, with those that wait; the stamp of the file.
    std::uint64_t GetFileSizeB() const noexcept { return m_sizeB; }
    std::chrono::steady_clock::time_point GetFileTimestamp() const noexcept { return m_timestamp; }

    // A line into the present file, also when that is complete: what a rotation logs must not cause another.
    void WriteWithoutRotating(LogSeverity severity, std::string_view line) noexcept;

private:
    // All under the lock.
    bool DoRotate() noexcept;   // true when a file was closed and a new one begun
    void Append(std::string_view line, bool isUrgent) noexcept;
    std::error_code WriteOut() noexcept;
    std::error_code OpenFile() noexcept;
    std::error_code BeginNewFile() noexcept;
    std::error_code MoveAway(TPath& closedFile);
    bool IsFileInPlace() const noexcept;

    void WriteLine(std::string_view line, bool isUrgent) noexcept;

    TPath m_path;
    mutable std::mutex m_mutex;
    int m_descriptor = -1;
    std::string m_waiting;
    std::uint64_t m_sizeB = 0;
    std::uint64_t m_droppedLines = 0;
    std::chrono::steady_clock::time_point m_timestamp;
    std::chrono::steady_clock::time_point m_nextWrite = std::chrono::steady_clock::time_point::min();
    std::chrono::steady_clock::time_point m_nextRotation = std::chrono::steady_clock::time_point::min();
    std::error_code m_rotationError;
    DateTime m_lastClosing;
};

// A file is complete when it holds `rotateSize` bytes: the line that reaches the limit is its last. 0 never rotates.
class BRV_EXPORT SizeBasedRotateFileChannel : public RotateFileChannel
{
public:
    SizeBasedRotateFileChannel(TPath logFile, std::size_t rotateSize);

protected:
    bool ShouldRotate() const noexcept override;

private:
    std::size_t m_rotateSize;
};

// A record as one line of UTF-8 without a line feed: 2021-03-04 05:06:07.250 Warning message {"key": "value"} [0x1234ABCD
// message of the error]. Control characters are written as \n, \r, \t and \xNN, so that a message cannot forge a line.
BRV_EXPORT std::string FormatLogLine(DateTime moment, const LogRecord& record);

}   // namespace TLog
