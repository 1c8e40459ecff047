#pragma once

#include "brvcore/foundation/BrvExport.h"
#include "brvcore/foundation/LogMessage.h"
#include "brvcore/foundation/RotatingFileChannel.h"
#include "brvcore/runtime/LogFileManager.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <system_error>

namespace TLog
{

// Older files of a log were deleted. Stands in the log at the level of information, with the time in front:
// 2021-03-04 05:06:07.250 Info delete-log {"count": "2"}
struct DeleteLogEvent
{
    static constexpr const char16_t* kName = u"delete-log";

    std::uint64_t count = 0;   // removals that were tried

    BRV_EXPORT LogFields GetFields() const;
};

// A channel by size that keeps at most `maxFiles` files of its log, the one being written included, by deleting the oldest
// when it opens and after each rotation. 0 keeps all. Which files belong to the log, and which names to avoid, is told at
// LogFileManager.
//
// The deletion runs as a task (AsyncTasks) when the calling thread has a context (ThreadContext) and an executor is lent,
// else on the calling thread, also when the executor throws. While a task waits for its turn no other is begun. The deletion
// never keeps other threads from logging. A task may outlive the channel: it then deletes what it was asked to and logs
// nothing.
class BRV_EXPORT SizeBasedRotateAndDeleteFileChannel final : public SizeBasedRotateFileChannel
{
public:
    SizeBasedRotateAndDeleteFileChannel(TPath logFile, std::size_t rotateSize, std::uint64_t maxFiles);
    ~SizeBasedRotateAndDeleteFileChannel() override;

    std::error_code Open() noexcept override;

protected:
    void OnRotated() noexcept override;

private:
    struct Link;

    void CheckAndDeleteOlderLogFiles() noexcept;
    void LogDeletion(const DeleteLogEvent& event) noexcept;

    std::uint64_t m_maxFiles;
    std::shared_ptr<const LogFileManager> m_manager;   // shared with the tasks
    std::shared_ptr<Link> m_link;                      // how a task finds the channel while it lives
};

// A channel whose files begin at whole multiples of an interval in local time: with 3600 at the top of each hour. Nothing is
// deleted. A file is closed by the first line after its end; 0 never rotates.
//
// The length of a file is measured on the steady clock from its aligned beginning. When the local time jumps (summer time,
// a clock that is set), the file that is being written keeps its length, and the next one is aligned anew. A file that an
// earlier process left, however old, goes on as one of the present interval.
class BRV_EXPORT TimeBasedRotateFileChannel final : public RotateFileChannel
{
public:
    TimeBasedRotateFileChannel(TPath logFile, std::uint64_t intervalSeconds);

    // The local time as if it were universal time, in seconds since 1970.
    static std::int64_t GetLocalSeconds(DateTime universalTime) noexcept;
    // The steady moment at which the interval began that the local time lies in; `now` for the interval 0.
    static std::chrono::steady_clock::time_point FindIntervalStart(
        std::chrono::steady_clock::time_point now, std::int64_t localSeconds, std::uint64_t intervalSeconds) noexcept;
    // True beyond the interval, not at its end. An interval above 292 years never ends, nor does 0.
    static bool IsIntervalOver(std::chrono::nanoseconds elapsed, std::uint64_t intervalSeconds) noexcept;

protected:
    bool ShouldRotate() const noexcept override;
    std::chrono::steady_clock::time_point GetTimestamp() const noexcept override;

private:
    std::uint64_t m_intervalSeconds;
};

}   // namespace TLog
