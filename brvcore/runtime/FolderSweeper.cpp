#include "brvcore/runtime/FolderSweeper.h"

#include "brvcore/foundation/AppOptions.h"
#include "brvcore/foundation/CancellationChecker.h"
#include "brvcore/foundation/Clock.h"
#include "brvcore/foundation/FileSystem.h"
#include "brvcore/foundation/LogMessage.h"
#include "brvcore/foundation/LogicException.h"
#include "brvcore/foundation/MetricsScope.h"
#include "brvcore/foundation/TFormatString.h"

#include <algorithm>
#include <cstddef>
#include <limits>
#include <string>
#include <tuple>
#include <utility>

namespace
{

// Stands for "now - 2 intervals" at construction, which does not exist for an interval of 2^62 ns and more.
constexpr std::int64_t kNeverSwept = std::numeric_limits<std::int64_t>::min();

// A sum of sizes that may exceed 64 bits (two sparse files are enough), so that what is added can be taken away again.
class ByteTotal
{
public:
    void Add(std::uint64_t sizeB) noexcept
    {
        m_low += sizeB;
        m_high += m_low < sizeB ? 1 : 0;
    }
    void Subtract(std::uint64_t sizeB) noexcept
    {
        m_high -= m_low < sizeB ? 1 : 0;
        m_low -= sizeB;
    }
    // 2^64 - 1 for anything above.
    std::uint64_t Get() const noexcept { return m_high > 0 ? std::numeric_limits<std::uint64_t>::max() : m_low; }
    bool IsAtMost(std::uint64_t limitB) const noexcept { return m_high == 0 && m_low <= limitB; }

private:
    std::uint64_t m_low = 0;
    std::uint64_t m_high = 0;
};

struct Entry
{
    std::string name;
    FileSystem::TreeMeasure measure;
};

struct Limits
{
    std::uint64_t sizeB;
    std::uint64_t entries;
};

Limits LimitsWith(std::uint64_t limitB, std::uint32_t limitSubpaths, std::uint64_t reserveB)
{
    return {limitB - std::min(limitB, reserveB), limitSubpaths - (reserveB != 0 ? 1U : 0U)};
}

// The direct entries of a folder, measured, and what of them is left while they are erased.
struct Contents
{
    FileSystem::FolderHandle handle;
    std::error_code error;   // of opening or listing
    std::vector<Entry> entries;
    ByteTotal totalB;
    std::uint64_t count = 0;

    // No folder of that path, as far as can be told: other reasons leave that open.
    bool IsMissing() const
    {
        return error == std::errc::no_such_file_or_directory || error == std::errc::not_a_directory ||
               error == std::errc::too_many_symbolic_link_levels || error == std::errc::invalid_argument;
    }

    bool IsWithin(const Limits& limits) const noexcept
    {
        return totalB.IsAtMost(limits.sizeB) && count <= limits.entries;
    }

    void Forget(const Entry& entry) noexcept
    {
        totalB.Subtract(entry.measure.sizeB);
        --count;
    }
};

// A sweep that measures what another is erasing takes a half-erased entry for a small or a new one, and erases others in
// its place. So it waits for the other's end; not for ever, since anybody who can read the folder can lock it.
void WaitForOtherSweeps(const FileSystem::FolderHandle& folder)
{
    constexpr int kMostWaits = 1000;
    constexpr std::chrono::milliseconds kWait(10);
    CancellationChecker checker(1);
    for (int waits = 0; !folder.TryLock() && waits < kMostWaits; ++waits)
    {
        checker.ThrowIfCancelled();
        Clock::Sleep(kWait);
    }
}

enum class Access
{
    Shared,   // beside sweeps that are under way
    Alone,
};

Contents MeasureFolder(const TPath& folder, Access access)
{
    Contents contents;
    contents.handle = FileSystem::FolderHandle::Open(folder, contents.error);
    if (contents.error)
        return contents;
    if (access == Access::Alone)
        WaitForOtherSweeps(contents.handle);
    FileSystem::DirectoryListing listing = contents.handle.List();
    contents.error = listing.error;
    contents.entries.reserve(listing.entries.size());
    CancellationChecker checker;
    for (FileSystem::DirectoryEntry& found : listing.entries)
    {
        checker.ThrowIfCancelled();
        const FileSystem::TreeMeasure measure = contents.handle.MeasureTree(found.name);
        if (!measure.exists)
            continue;
        contents.totalB.Add(measure.sizeB);
        contents.entries.push_back({std::move(found.name), measure});
    }
    contents.count = contents.entries.size();
    return contents;
}

void Sort(std::vector<Entry>& entries, FolderSweepOrder order)
{
    const auto isEarlier = [order](const Entry& a, const Entry& b)
    {
        if (order == FolderSweepOrder::LargestFirst)
            return std::tie(b.measure.sizeB, a.name) < std::tie(a.measure.sizeB, b.name);
        return std::tie(a.measure.newestWriteTime, a.name) < std::tie(b.measure.newestWriteTime, b.name);
    };
    std::sort(entries.begin(), entries.end(), isEarlier);
}

TPath PathOf(const TPath& folder, const Entry& entry)
{
    return folder / TString::FromUTF8(entry.name);   // exact for any bytes
}

void LogLargeDelete(const TPath& path, std::uint64_t sizeB)
{
    LogMessage(LogSeverity::Warning, u"large-file-delete",
        {{u"source", u"Sweep"}, {u"path", path.ToText()}, {u"total-size-b", TString::FromUInt(sizeB)}});
}

// One that somebody else erased leaves the sums too, or other entries would be erased for its share.
void Erase(const Entry& entry, const TPath& path, Contents& contents)
{
    const FileSystem::RemovalOutcome outcome = contents.handle.RemoveTree(entry.name).outcome;
    if (outcome == FileSystem::RemovalOutcome::Failed)
        return;
    if (outcome == FileSystem::RemovalOutcome::Removed && IsLogging())
        LogMessage(LogSeverity::Debug, TFormatString(u"FolderSweeper erased path: %1").arg(path.ToText()).result());
    contents.Forget(entry);
}

// Erases entries until the limits are met; false when they are not after the last one.
bool Enforce(const Limits& limits, const FolderSweeper& sweeper, const TPath& folder, Contents& contents)
{
    const bool logsLargeDeletes = AppOptions::Get(AppOptions::LogLargeDeletes);
    const std::int64_t largeB = AppOptions::Get(AppOptions::LogLargeDeletesSizeThresholdBytes);
    CancellationChecker checker;
    for (const Entry& entry : contents.entries)
    {
        checker.ThrowIfCancelled();
        const TPath path = PathOf(folder, entry);
        if (logsLargeDeletes && std::cmp_greater(entry.measure.sizeB, largeB))
            LogLargeDelete(path, entry.measure.sizeB);   // also of one that CanDelete keeps
        if (sweeper.CanDelete(path))
            Erase(entry, path, contents);
        if (contents.IsWithin(limits))
            return true;
    }
    return false;
}

}   // namespace

FolderSweeper::FolderSweeper(
    std::uint64_t limitB, FolderSweepOrder order, std::uint32_t limitSubpaths, std::chrono::nanoseconds interval)
    : m_limitB(limitB), m_sweepOrder(order), m_limitSubpaths(limitSubpaths), m_interval(interval),
      m_lastSweepNs(kNeverSwept)
{
    BRV_LOGIC_ASSERT(0xAD4AE5EB, limitB > 0);
    BRV_LOGIC_ASSERT(0x5E6C6DB3, limitSubpaths > 0);
    BRV_LOGIC_ASSERT(0x3CB6A30A, limitSubpaths < 65000);
    BRV_LOGIC_ASSERT(
        0xF8F6FE64, m_sweepOrder == FolderSweepOrder::LargestFirst || m_sweepOrder == FolderSweepOrder::OldestFirst);
}

FolderSweeper::~FolderSweeper() = default;

bool FolderSweeper::CanDelete(const TPath& /*entry*/) const
{
    return true;
}

bool FolderSweeper::Sweep(const TPath& folder, unsigned long reserveB) const
{
    if (!BeginSweep())
        return true;
    MetricsScope scope(u"FolderSweeper::Sweep");
    Contents contents = MeasureFolder(folder, Access::Alone);
    if (contents.IsMissing())
        return false;
    const Limits limits = LimitsWith(m_limitB, m_limitSubpaths, reserveB);
    if (!contents.error && contents.IsWithin(limits))
    {
        scope.Emit(u"outcome", u"skipped");
        return true;
    }
    Sort(contents.entries, m_sweepOrder);
    if (!contents.error && Enforce(limits, *this, folder, contents))
    {
        scope.Emit(u"outcome", u"done");
        return true;
    }
    scope.Emit(u"outcome", u"failed");
    LogMessage(LogSeverity::Warning,
        TFormatString(u"FolderSweeper::Sweep failed to enforce limits. folder: '%1', totalSizeB: '%2', "
                      u"m_limitB: '%3', totalSubpaths:'%4', m_limitSubpaths:'%5' ")
            .arg(folder.ToText())
            .arg(contents.totalB.Get())
            .arg(m_limitB)
            .arg(contents.count)
            .arg(m_limitSubpaths)
            .result());
    return false;
}

FolderSweepPlan FolderSweeper::Plan(const TPath& folder, unsigned long reserveB) const
{
    Contents contents = MeasureFolder(folder, Access::Shared);
    const Limits limits = LimitsWith(m_limitB, m_limitSubpaths, reserveB);
    FolderSweepPlan plan;
    plan.isFolder = !contents.IsMissing();
    plan.listingError = contents.error;
    plan.totalSizeB = contents.totalB.Get();
    plan.allowedSizeB = limits.sizeB;
    plan.allowedEntries = limits.entries;
    plan.entries.reserve(contents.entries.size());
    Sort(contents.entries, m_sweepOrder);
    for (const Entry& entry : contents.entries)
    {
        const FileSystem::TreeMeasure& measure = entry.measure;
        TPath path = PathOf(folder, entry);
        const bool isErased = !contents.error && !contents.IsWithin(limits) && CanDelete(path);
        if (isErased)
            contents.Forget(entry);
        plan.entries.push_back({std::move(path), measure.sizeB, measure.newestWriteTime, measure.isComplete, isErased});
    }
    plan.isWithinLimits = !contents.error && contents.IsWithin(limits);
    return plan;
}

// True for the caller that sweeps. Of several that come when the interval has passed, one does: the one whose exchange
// succeeds.
bool FolderSweeper::BeginSweep() const
{
    if (m_interval.count() <= 0)
        return true;
    const auto sinceEpoch = Clock::SteadyNow().time_since_epoch();
    const std::int64_t nowNs = std::chrono::duration_cast<std::chrono::nanoseconds>(sinceEpoch).count();
    std::int64_t lastNs = m_lastSweepNs.load();
    if (lastNs != kNeverSwept && nowNs - lastNs < m_interval.count())
        return false;
    return m_lastSweepNs.compare_exchange_strong(lastNs, nowNs);
}
