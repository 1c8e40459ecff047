#include "SweepCommand.h"

#include "Console.h"
#include "OrderedParallel.h"
#include "Text.h"
#include "WarningKeeper.h"
#include "brvcore/foundation/CancellationChecker.h"
#include "brvcore/foundation/FileSystem.h"
#include "brvcore/foundation/LogMessage.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace
{

constexpr std::chrono::nanoseconds kEveryCall{0};   // one process sweeps once: nothing to throttle

std::string MomentText(DateTime moment)
{
    const DateTime::Fields fields = moment.GetFields();
    char time[16];
    std::snprintf(time, sizeof time, " %02d:%02d:%02d", fields.hour, fields.minute, fields.second);
    return moment.GetDate().ToISODate().ToUTF8() + time;
}

// Hears from the sweeper's log lines which entries it has erased: what is gone may have been removed by somebody else.
class ErasureListener
{
public:
    ErasureListener() : m_previous(SetLogSink(nullptr)), m_sink(std::make_shared<Sink>(m_previous))
    {
        SetLogSink(m_sink);
    }
    ~ErasureListener() { SetLogSink(m_previous); }
    ErasureListener(const ErasureListener&) = delete;
    ErasureListener& operator=(const ErasureListener&) = delete;

    // Whether there was such a line since the last call.
    bool TakeErased() const { return m_sink->hasErased.exchange(false); }

private:
    struct Sink : ILogSink
    {
        explicit Sink(std::shared_ptr<ILogSink> following) : next(std::move(following)) {}

        void Write(const LogRecord& record) override
        {
            if (!record.isError && record.message.View().starts_with(u"FolderSweeper erased path: "))
                hasErased = true;
            if (next != nullptr)
                next->Write(record);
        }

        std::shared_ptr<ILogSink> next;
        std::atomic<bool> hasErased = false;
    };

    std::shared_ptr<ILogSink> m_previous;
    std::shared_ptr<Sink> m_sink;
};

// The entries that are to go, as lines of a table that is written row by row.
class RemovalList
{
public:
    explicit RemovalList(const FolderSweepPlan& plan)
    {
        for (const FolderSweepEntry& entry : plan.entries)
        {
            m_entries.emplace(entry.path, entry);
            if (entry.isErased)
                m_width = std::max(m_width, std::to_string(entry.sizeB).size());
        }
    }

    // Counts the entry as removed and prints its line. Also after Ctrl-C: it is gone.
    void Add(const TPath& path)
    {
        std::string line = m_count == 0 ? Line("bytes", "newest write (UTC)", "entry") : std::string();
        ++m_count;
        const auto known = m_entries.find(path);
        if (known == m_entries.end())   // it came after the plan
            line += Line("", "", path.GetNative().native());
        else
        {
            const FolderSweepEntry& entry = known->second;
            m_sizeB += entry.sizeB;
            line += Line(std::to_string(entry.sizeB), MomentText(entry.newestWriteTime), path.GetNative().native());
        }
        Console::Print(line, Console::AfterInterrupt::Finish);
    }

    std::size_t GetCount() const noexcept { return m_count; }
    std::uint64_t GetSizeB() const noexcept { return m_sizeB; }

private:
    std::string Line(const std::string& size, const std::string& moment, const std::string& path) const
    {
        constexpr std::size_t kMomentWidth = 19;
        return std::string(m_width - std::min(m_width, size.size()), ' ') + size + "  " + moment +
               std::string(kMomentWidth - std::min(kMomentWidth, moment.size()), ' ') + "  " + Printable(path) + "\n";
    }

    std::map<TPath, FolderSweepEntry> m_entries;
    std::size_t m_width = std::string_view("bytes").size();
    std::size_t m_count = 0;
    std::uint64_t m_sizeB = 0;
};

// Follows the sweep from entry to entry: what became of the one before is known when the next one's turn comes.
class WatchedSweeper : public FolderSweeper
{
public:
    WatchedSweeper(const SweepOptions& options, std::size_t planned, RemovalList& removed)
        : FolderSweeper(options.mostBytes, options.order, options.mostEntries, kEveryCall), m_planned(planned),
          m_removed(removed)
    {
    }

    bool CanDelete(const TPath& entry) const override
    {
        Settle();
        m_entry = entry;
        ++m_tried;
        const double share = static_cast<double>(m_tried) / static_cast<double>(std::max(m_planned, m_tried));
        Console::ShowBar(share, "removing " + entry.GetFileName().ToUTF8());
        return true;
    }

    // Tells of the entry that was tried last.
    void Settle() const
    {
        if (!m_entry)
            return;
        const TPath entry = *m_entry;
        m_entry.reset();
        if (m_listener.TakeErased())
            m_removed.Add(entry);
        else if (FileSystem::GetFileKind(entry))
            Console::ComplainAbout(entry.GetNative().native(), "could not be removed, or not whole");
    }

private:
    ErasureListener m_listener;
    std::size_t m_planned;
    RemovalList& m_removed;
    mutable std::optional<TPath> m_entry;   // one thread sweeps
    mutable std::size_t m_tried = 0;
};

FolderSweepPlan MakePlan(const SweepOptions& options, const std::string& label)
{
    const FolderSweeper sweeper(options.mostBytes, options.order, options.mostEntries, kEveryCall);
    FolderSweepPlan plan;
    RunWatched(label + " " + options.file,
        [&] { plan = sweeper.Plan(TPath(std::filesystem::path(options.file)), options.reserveB); });
    if (plan.listingError)
        throw DataError(0, (plan.isFolder ? "cannot be listed: " : "cannot be swept: ") + plan.listingError.message());
    return plan;
}

// False when Ctrl-C stopped it. `isWithin` is whether the limits are met.
bool Sweep(const SweepOptions& options, std::size_t planned, RemovalList& removed, bool& isWithin)
{
    const WatchedSweeper sweeper(options, planned, removed);
    const WarningKeeper keeper;   // the command tells by itself that the limits are not met
    const auto sweep = [&](std::size_t)
    {
        try
        {
            isWithin = sweeper.Sweep(TPath(std::filesystem::path(options.file)), options.reserveB);
            sweeper.Settle();
        }
        catch (const CancelledException&)
        {
            Console::HideBar();
            sweeper.Settle();
            throw;
        }
    };
    const auto nothing = [](std::size_t) {};
    const bool isDone = RunInOrder(1, sweep, nothing, nothing, [] { Console::HideBar(); });
    Console::HideBar();
    return isDone;
}

// "Left            1 entry, 2 bytes"
std::string SummaryLine(std::string label, std::uint64_t entries, std::uint64_t sizeB)
{
    constexpr std::size_t kLabelWidth = 16;
    label.resize(kLabelWidth, ' ');
    return label + std::to_string(entries) + (entries == 1 ? " entry, " : " entries, ") + Counted(sizeB, "byte") + "\n";
}

}   // namespace

ExitCode RunCommand(const SweepOptions& options)
{
    const FolderSweepPlan before = MakePlan(options, "measuring");
    const auto isErased = [](const FolderSweepEntry& entry) { return entry.isErased; };
    const auto planned =
        static_cast<std::size_t>(std::count_if(before.entries.begin(), before.entries.end(), isErased));
    for (const FolderSweepEntry& entry : before.entries)
        if (!entry.isComplete)
            Console::ComplainAbout(
                entry.path.GetNative().native(), "cannot be read whole; it counts with what was seen");

    RemovalList list(before);
    bool isWithin = before.isWithinLimits;
    std::uint64_t leftEntries = before.entries.size() - planned;
    std::uint64_t leftB = before.totalSizeB;
    if (options.isDryRun)
    {
        for (const FolderSweepEntry& entry : before.entries)
            if (entry.isErased)
                list.Add(entry.path);
        leftB -= list.GetSizeB();
    }
    else if (planned > 0)
    {
        if (!Sweep(options, planned, list, isWithin))
            throw CancelledException();
        const FolderSweepPlan after = MakePlan(options, "measuring what is left of");
        leftEntries = after.entries.size();
        leftB = after.totalSizeB;
    }

    std::string summary = list.GetCount() > 0 ? "\n" : "";
    summary += SummaryLine(options.isDryRun ? "Would remove" : "Removed", list.GetCount(), list.GetSizeB());
    summary += SummaryLine(options.isDryRun ? "Would leave" : "Left", leftEntries, leftB);
    summary += SummaryLine("Allowed", before.allowedEntries, before.allowedSizeB);
    Console::Print(summary);
    if (isWithin)
        return ExitCode::Success;
    Console::ComplainAbout(options.file, "the limits cannot be met");
    return ExitCode::Limits;
}
