#include "brvcore/runtime/LogFileChannels.h"

#include "brvcore/foundation/AsyncTasks.h"
#include "brvcore/foundation/CalendarTime.h"
#include "brvcore/foundation/Clock.h"
#include "brvcore/foundation/ThreadContext.h"

#include <algorithm>
#include <atomic>
#include <ctime>
#include <filesystem>
#include <limits>
#include <mutex>
#include <string>
#include <utility>

using namespace TLog;
using std::chrono::nanoseconds;
using std::chrono::seconds;
using std::chrono::steady_clock;

namespace
{

std::shared_ptr<const LogFileManager> MakeManager(const TPath& logFile)
{
    const std::filesystem::path& native = logFile.GetNative();
    const std::string extension = native.extension().native();
    return std::make_shared<LogFileManager>(logFile.GetParent(), TString::FromUTF8(native.stem().native()),
        TString::FromUTF8(extension.empty() ? extension : extension.substr(1)), logFile);
}

}   // namespace

LogFields DeleteLogEvent::GetFields() const
{
    return {{u"count", TString::FromUInt(count)}};
}

struct SizeBasedRotateAndDeleteFileChannel::Link
{
    std::mutex mutex;                               // held while the channel is used, so that it cannot go meanwhile
    SizeBasedRotateAndDeleteFileChannel* channel;   // null once the channel is gone
    std::atomic<bool> isTaskWaiting = false;        // for an executor; it will see what another would
};

SizeBasedRotateAndDeleteFileChannel::SizeBasedRotateAndDeleteFileChannel(
    TPath logFile, std::size_t rotateSize, std::uint64_t maxFiles)
    : SizeBasedRotateFileChannel(std::move(logFile), rotateSize), m_maxFiles(maxFiles),
      m_manager(MakeManager(GetFilePath())), m_link(std::make_shared<Link>())
{
    m_link->channel = this;
}

SizeBasedRotateAndDeleteFileChannel::~SizeBasedRotateAndDeleteFileChannel()
{
    const std::lock_guard lock(m_link->mutex);
    m_link->channel = nullptr;
}

std::error_code SizeBasedRotateAndDeleteFileChannel::Open() noexcept
{
    const std::error_code error = SizeBasedRotateFileChannel::Open();
    if (!error)
        CheckAndDeleteOlderLogFiles();
    return error;
}

void SizeBasedRotateAndDeleteFileChannel::OnRotated() noexcept
{
    CheckAndDeleteOlderLogFiles();
}

void SizeBasedRotateAndDeleteFileChannel::CheckAndDeleteOlderLogFiles() noexcept
{
    // Ends with the beginning of the task, or when the executor drops it.
    struct Waiting
    {
        std::shared_ptr<Link> link;
        ~Waiting() { End(); }
        void End()
        {
            if (const std::shared_ptr<Link> ended = std::exchange(link, nullptr))
                ended->isTaskWaiting = false;
        }
    };
    if (m_maxFiles == 0)
        return;
    const auto deleteOlder = [manager = m_manager, link = m_link, maxFiles = m_maxFiles]() noexcept
    {
        try
        {
            const DeleteLogEvent event{manager->DeleteOlderFilesToRestrictFileCount(maxFiles)};
            if (event.count == 0)
                return;
            const std::lock_guard lock(link->mutex);
            if (link->channel != nullptr)
                link->channel->LogDeletion(event);
        }
        catch (...)   // no memory: the next rotation tries again
        {
        }
    };
    try
    {
        if (!ThreadContext::GetAll().empty())
        {
            const auto waiting = std::make_shared<Waiting>();
            if (m_link->isTaskWaiting.exchange(true))
                return;
            waiting->link = m_link;
            AsyncTasks::Run(
                [deleteOlder, waiting]   // at once when no executor is lent
                {
                    waiting->End();
                    deleteOlder();
                });
            return;
        }
    }
    catch (...)   // the executor takes no more, or no memory for the task
    {
    }
    deleteOlder();
}

void SizeBasedRotateAndDeleteFileChannel::LogDeletion(const DeleteLogEvent& event) noexcept
{
    try
    {
        const TString name = DeleteLogEvent::kName;
        const LogFields fields = event.GetFields();
        const LogRecord record{.severity = LogSeverity::Info, .message = name, .fields = &fields};
        WriteWithoutRotating(record.severity, FormatLogLine(Clock::UniversalNow(), record));
    }
    catch (...)   // no memory for the line
    {
    }
}

TimeBasedRotateFileChannel::TimeBasedRotateFileChannel(TPath logFile, std::uint64_t intervalSeconds)
    : RotateFileChannel(std::move(logFile)), m_intervalSeconds(intervalSeconds)
{
}

std::int64_t TimeBasedRotateFileChannel::GetLocalSeconds(DateTime universalTime) noexcept
{
    constexpr std::int64_t kUnixEpochTicks = CalendarTime::TicksOf(std::chrono::sys_days());
    const CalendarTime::Ticks sinceUnixEpoch(universalTime.GetTicks() - kUnixEpochTicks);
    const std::time_t moment = std::chrono::floor<seconds>(sinceUnixEpoch).count();
    std::tm local{};
    return ::localtime_r(&moment, &local) == nullptr ? moment : ::timegm(&local);
}

steady_clock::time_point TimeBasedRotateFileChannel::FindIntervalStart(
    steady_clock::time_point now, std::int64_t localSeconds, std::uint64_t intervalSeconds) noexcept
{
    constexpr std::uint64_t kMostSeconds = std::chrono::duration_cast<seconds>(nanoseconds::max()).count() / 4;
    if (intervalSeconds == 0)
        return now;
    // Before 1970 the phase counts up to the next multiple of the interval, too: -1 lies at the end of the interval before 0.
    const std::uint64_t phase =
        localSeconds >= 0 ? static_cast<std::uint64_t>(localSeconds) % intervalSeconds
                          : intervalSeconds - 1 - (~static_cast<std::uint64_t>(localSeconds)) % intervalSeconds;
    return now - seconds(std::min(phase, kMostSeconds));   // far from overflow; such an interval never ends
}

bool TimeBasedRotateFileChannel::IsIntervalOver(nanoseconds elapsed, std::uint64_t intervalSeconds) noexcept
{
    constexpr std::uint64_t kMostSeconds = std::chrono::duration_cast<seconds>(nanoseconds::max()).count();
    return intervalSeconds != 0 && intervalSeconds <= kMostSeconds && elapsed > seconds(intervalSeconds);
}

bool TimeBasedRotateFileChannel::ShouldRotate() const noexcept
{
    return m_intervalSeconds != 0 && IsIntervalOver(Clock::SteadyNow() - GetFileTimestamp(), m_intervalSeconds);
}

steady_clock::time_point TimeBasedRotateFileChannel::GetTimestamp() const noexcept
{
    return FindIntervalStart(Clock::SteadyNow(), GetLocalSeconds(Clock::UniversalNow()), m_intervalSeconds);
}
