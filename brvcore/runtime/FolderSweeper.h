#pragma once

#include "brvcore/foundation/BrvExport.h"
#include "brvcore/foundation/DateTime.h"
#include "brvcore/foundation/TPath.h"

#include <atomic>
#include <chrono>
#include <cstdint>
#include <system_error>
#include <vector>

// Which entries of a folder go first. Ties go by name, byte by byte.
enum class FolderSweepOrder
{
    OldestFirst,    // by the newest write time of anything inside the entry
    LargestFirst,   // by the bytes of everything inside the entry
};

// What a sweep would do to one entry.
struct FolderSweepEntry
{
    TPath path;
    std::uint64_t sizeB = 0;
    DateTime newestWriteTime;   // UTC
    bool isComplete = true;     // false: something in it could not be looked at; size and time are what was seen
    bool isErased = false;      // the sweep would erase it
};

struct FolderSweepPlan
{
    bool isFolder = false;                   // false: the path is missing or no folder
    std::error_code listingError;            // the folder could not be listed to its end: nothing would be erased
    std::vector<FolderSweepEntry> entries;   // all, in sweep order
    std::uint64_t totalSizeB = 0;            // before the sweep; 2^64 - 1 stands for anything above
    std::uint64_t allowedSizeB = 0;
    std::uint64_t allowedEntries = 0;
    bool isWithinLimits = false;   // what Sweep would return
};

// Keeps a folder within a limit of bytes and of direct entries, by erasing whole entries in a given order. One object per
// folder policy; Sweep() is called whenever the caller is about to add to the folder, and throttles itself.
//
// Sizes are the lengths of the regular files at any depth; folders and links weigh nothing. Links are never followed and
// are erased as links: no link leads a sweep out of the folder, also when a folder in it is replaced by one meanwhile. A
// file system mounted in the folder, or a folder bound there from elsewhere, belongs to it and is emptied with it. The
// path that is swept may itself be a link to the folder; the sweep stays with the folder that it opened.
//
// Trouble of the file system never leaves as an exception: a missing folder gives false, an entry that cannot be erased is
// passed over without a line, and limits that are not met are logged in one. What CanDelete throws passes out, and so do
// CancelledException (both calls poll cancellation; an entry may then be partly erased) and std::bad_alloc.
// All const calls may run on several threads. Time: one look at each file, and sorting of the direct entries.
class BRV_EXPORT FolderSweeper
{
public:
    // At least `interval` passes between two sweeps that run; without a positive one every call runs.
    // Throws LogicException 0xAD4AE5EB "limitB > 0", 0x5E6C6DB3 "limitSubpaths > 0", 0x3CB6A30A "limitSubpaths < 65000",
    // 0xF8F6FE64 "m_sweepOrder == FolderSweepOrder::LargestFirst || m_sweepOrder == FolderSweepOrder::OldestFirst".
    FolderSweeper(
        std::uint64_t limitB, FolderSweepOrder order, std::uint32_t limitSubpaths, std::chrono::nanoseconds interval);
    virtual ~FolderSweeper();
    FolderSweeper(const FolderSweeper&) = delete;
    FolderSweeper& operator=(const FolderSweeper&) = delete;

    // True when the folder is now within its limits, or was swept less than the interval ago (nothing is looked at then).
    // False when it is missing or no folder, could not be listed to its end (nothing is erased then), or remained above a
    // limit. `reserveB` is room that the caller is about to use: it is taken from the byte limit (to 0 at least), and
    // unless it is 0, takes one entry of the other limit. A sweep that finds no folder or ends by an exception counts for the
    // interval too.
    //
    // Sweeps of one folder, in one process or several, take turns by its advisory lock, so that two erase no more than one
    // would. One that has waited 10 seconds goes on beside the other, and may then erase entries which the other's removals
    // make needless; so may all on a file system without locks. CanDelete must not sweep the folder that it is asked about.
    //
    // An entry that somebody else has erased leaves the sums; one that was erased in part counts in full. Sizes, times and
    // names are those of the listing: an entry that is replaced meanwhile may be erased in its new form.
    //
    // Metrics scope "FolderSweeper::Sweep" with "outcome" = "skipped", "done" or "failed"; none of a missing folder or after an
    // exception. The options LogLargeDeletes and LogLargeDeletesSizeThresholdBytes are read once per sweep that erases;
    // LogicException 0x7A96F0CE when one was overridden with another type.
    bool Sweep(const TPath& folder, unsigned long reserveB) const;

    // What Sweep would do, if every removal succeeded and the interval had passed. Changes nothing, logs nothing and does
    // not count for the interval; asks CanDelete of the entries that Sweep would ask it of.
    FolderSweepPlan Plan(const TPath& folder, unsigned long reserveB) const;

    // Protects an entry, given with the folder's path before its name, when it answers false. The base protects none.
    virtual bool CanDelete(const TPath& entry) const;

private:
    bool BeginSweep() const;

    std::uint64_t m_limitB;
    FolderSweepOrder m_sweepOrder;
    std::uint32_t m_limitSubpaths;
    std::chrono::nanoseconds m_interval;
    mutable std::atomic<std::int64_t> m_lastSweepNs;   // on the steady clock, or the mark of "never"
};
