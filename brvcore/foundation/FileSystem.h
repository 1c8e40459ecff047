#pragma once

#include "brvcore/foundation/BrvExport.h"
#include "brvcore/foundation/DateTime.h"
#include "brvcore/foundation/TPath.h"

#include <cstdint>
#include <optional>
#include <string>
#include <system_error>
#include <vector>

// What the library asks of the file system. Trouble is told by a std::error_code, never thrown; only std::bad_alloc and,
// from the walks, CancelledException pass out. A path or name with a zero character in it is std::errc::invalid_argument,
// so that it never stands for the part before the zero. Every function is safe from any thread and leaks no descriptor;
// descriptors are not inherited by child processes.
namespace FileSystem
{

enum class FileKind : std::uint8_t
{
    RegularFile,
    Folder,
    Link,    // symbolic, whatever it points to
    Other,   // pipe, socket, device
};

struct DirectoryEntry
{
    std::string name;   // native bytes, perhaps no UTF-8; TPath(directory.GetNative() / name) is the path
    FileKind kind = FileKind::Other;
};

// The entries that could be seen, in no order and without "." and "..", and what kept the listing from beginning or from
// reaching its end.
struct DirectoryListing
{
    std::vector<DirectoryEntry> entries;
    std::error_code error;
};

// Of the entry itself: a link is a link. Nothing when it cannot be told, chiefly because there is no such entry.
BRV_EXPORT std::optional<FileKind> GetFileKind(const TPath& path) noexcept;
// False for a link to a regular file.
BRV_EXPORT bool IsRegularFile(const TPath& path) noexcept;
// Time of the last write in UTC, cut to 100 ns and held within years 1 to 9999; of a link its own. Nothing when it cannot
// be told.
BRV_EXPORT std::optional<DateTime> GetLastWriteTime(const TPath& path) noexcept;

// The path may be a link to a folder; entries that are links are not followed. An entry that vanishes while the listing
// runs may be left out.
BRV_EXPORT DirectoryListing ListDirectory(const TPath& directory);

// Removes a file, a link (not its target), a pipe; never a folder.
BRV_EXPORT std::error_code RemoveFile(const TPath& path) noexcept;
// Renames a file within one file system. When the new name is taken, by a dangling link too, nothing changes and the
// result is std::errc::file_exists. Atomic where the file system can; elsewhere both names exist for a moment.
BRV_EXPORT std::error_code RenameWithoutOverwriting(const TPath& from, const TPath& to) noexcept;

// One entry and everything below it.
struct TreeMeasure
{
    // Lengths of the regular files, each name of a hard-linked one; folders, links and the rest weigh nothing. Stays at
    // 2^64 - 1 when there is more.
    std::uint64_t sizeB = 0;
    // The latest of anything that is no folder; a folder's own time counts when nothing else was seen in it.
    DateTime newestWriteTime;
    bool exists = true;   // false: vanished, the rest is meaningless
    // False: something could not be looked at; the values are what was seen, the least ones there are if nothing was.
    bool isComplete = true;
};

enum class RemovalOutcome : std::uint8_t
{
    Removed,
    Missing,   // it was not there, or somebody else removed it while this call did
    Failed,    // something of it is left
};

struct TreeRemoval
{
    RemovalOutcome outcome = RemovalOutcome::Removed;
    std::error_code error;   // of Failed: the first reason met
};

// A folder held open: it stays the same one when its path is renamed or replaced while the handle lives.
//
// MeasureTree and RemoveTree walk without following any link, also when a folder is replaced by a link while they run, and
// at any depth: paths longer than PATH_MAX are no obstacle. A walk keeps at most 16 folders open and polls cancellation.
// A file system mounted inside the folder belongs to it. A folder that somebody moves away while the walk is inside it is
// finished where it then is. Const calls may run on several threads.
class BRV_EXPORT FolderHandle
{
public:
    FolderHandle() noexcept = default;   // not open
    FolderHandle(FolderHandle&& other) noexcept;
    FolderHandle& operator=(FolderHandle&& other) noexcept;
    ~FolderHandle();

    // Opens the folder that the path names, be it through a link. Something else than a folder is
    // std::errc::not_a_directory.
    static FolderHandle Open(const TPath& path, std::error_code& error) noexcept;
    bool IsOpen() const noexcept { return m_descriptor >= 0; }

    DirectoryListing List() const;

    // Takes the folder's advisory lock (flock) until the handle ends; false while another handle, of any process, has it.
    // True, without a lock, on a file system that has none.
    bool TryLock() const noexcept;

    // A name is that of a direct entry, in native bytes; "", ".", ".." and anything with a "/" are
    // std::errc::invalid_argument (and no entry that exists).
    TreeMeasure MeasureTree(const std::string& name) const;
    // A link is removed, not its target. What is added while this runs may stay; the outcome is Failed then.
    TreeRemoval RemoveTree(const std::string& name) const;

private:
    explicit FolderHandle(int descriptor) noexcept : m_descriptor(descriptor) {}

    int m_descriptor = -1;
};

}   // namespace FileSystem
