#include "brvcore/foundation/FileSystem.h"

#include "brvcore/foundation/CalendarTime.h"
#include "brvcore/foundation/CancellationChecker.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstddef>
#include <cstdio>
#include <limits>
#include <memory>
#include <string_view>
#include <utility>

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace FileSystem;

namespace
{

constexpr int kReadFolder = O_RDONLY | O_DIRECTORY | O_CLOEXEC;   // O_DIRECTORY: never waits for the writer of a pipe
constexpr std::size_t kMostOpenFolders = 16;                      // of one walk
constexpr int kRemovalPasses = 3;   // a folder that gains entries while it is emptied is tried again, not for ever

std::error_code ErrorOf(int reason) noexcept
{
    return {reason, std::generic_category()};
}

// The system takes a name up to its first zero character for the whole.
bool HasZero(std::string_view text) noexcept
{
    return text.find('\0') != std::string_view::npos;
}

bool HasZero(const TPath& path) noexcept
{
    return HasZero(path.GetNative().native());
}

bool IsEntryName(std::string_view name) noexcept
{
    return !name.empty() && name != "." && name != ".." && name.find('/') == std::string_view::npos && !HasZero(name);
}

FileKind KindOf(const struct stat& status) noexcept
{
    if (S_ISREG(status.st_mode))
        return FileKind::RegularFile;
    if (S_ISDIR(status.st_mode))
        return FileKind::Folder;
    return S_ISLNK(status.st_mode) ? FileKind::Link : FileKind::Other;
}

DateTime WriteTimeOf(const struct stat& status)
{
    constexpr std::int64_t kTicksToUnixEpoch = CalendarTime::TicksOf(std::chrono::sys_days());
    constexpr std::int64_t kFarSeconds = 300'000'000'000;   // beyond year 9999 on either side, and no overflow below
    const auto seconds = std::clamp(static_cast<std::int64_t>(status.st_mtim.tv_sec), -kFarSeconds, kFarSeconds);
    const std::int64_t ticks =
        seconds * DateTimeSpan::kTicksPerSecond + status.st_mtim.tv_nsec / 100 + kTicksToUnixEpoch;
    return DateTime::FromTicks(std::clamp(ticks, CalendarTime::kMinTicks, CalendarTime::kMaxTicks));
}

bool ReadStatus(int folder, const char* name, struct stat& status) noexcept
{
    return ::fstatat(folder, name, &status, AT_SYMLINK_NOFOLLOW) == 0;
}

// A folder opened for reading.
class FolderStream
{
public:
    FolderStream() = default;
    // Takes the descriptor over; a negative one, or one that cannot be read as a folder, leaves errno and a closed stream.
    explicit FolderStream(int descriptor) noexcept : m_stream(descriptor < 0 ? nullptr : ::fdopendir(descriptor))
    {
        if (m_stream != nullptr || descriptor < 0)
            return;
        const int reason = errno;
        ::close(descriptor);
        errno = reason;
    }

    bool IsOpen() const noexcept { return m_stream != nullptr; }
    int GetDescriptor() const noexcept { return ::dirfd(m_stream.get()); }
    void Close() noexcept { m_stream.reset(); }

    // Gives every entry but "." and ".." to the visitor; returns 0, or the reason why the end was not reached.
    template <class Visitor> int ForEachEntry(const Visitor& visit)
    {
        for (;;)
        {
            errno = 0;   // tells the end from trouble
            const dirent* const entry = ::readdir(m_stream.get());
            if (entry == nullptr)
                return errno;
            const std::string_view name = entry->d_name;
            if (name != "." && name != "..")
                visit(*entry);
        }
    }

private:
    struct Closer
    {
        void operator()(DIR* stream) const noexcept { ::closedir(stream); }
    };
    std::unique_ptr<DIR, Closer> m_stream;
};

DirectoryListing ListStream(FolderStream stream)
{
    DirectoryListing listing;
    if (!stream.IsOpen())
    {
        listing.error = ErrorOf(errno);
        return listing;
    }
    const auto addEntry = [&](const dirent& entry)
    {
        FileKind kind = FileKind::Other;
        struct stat status;
        switch (entry.d_type)
        {
        case DT_REG:
            kind = FileKind::RegularFile;
            break;
        case DT_DIR:
            kind = FileKind::Folder;
            break;
        case DT_LNK:
            kind = FileKind::Link;
            break;
        case DT_UNKNOWN:   // this file system does not say
            if (ReadStatus(stream.GetDescriptor(), entry.d_name, status))
                kind = KindOf(status);
            else if (errno == ENOENT)
                return;
            break;
        default:
            break;
        }
        listing.entries.push_back({entry.d_name, kind});
    };
    if (const int reason = stream.ForEachEntry(addEntry); reason != 0)
        listing.error = ErrorOf(reason);
    return listing;
}

// A walk over a folder and everything below it, without recursion and without following links. A folder is read to its end
// before the ones inside it are entered, so that nothing depends on its position when it had to be closed: only the
// deepest few are open. A closed one is found again as ".." of the one below, and recognised by its identity; if it is
// another, the tree was rearranged and the walk ends.
class TreeWalk
{
public:
    TreeWalk(const TreeWalk&) = delete;
    TreeWalk& operator=(const TreeWalk&) = delete;

protected:
    struct Folder
    {
        std::string name;   // in its parent
        FolderStream stream;
        dev_t device = 0;   // set when the stream is closed
        ino_t inode = 0;
        std::vector<std::string> subfolders;   // to be entered
        bool hasContent = false;               // free for the derived class
    };

    TreeWalk() = default;
    ~TreeWalk() = default;

    void Walk(int parent, const std::string& name)
    {
        m_firstOpen = 0;
        Enter(parent, name);
        while (!m_folders.empty())
        {
            Folder& deepest = m_folders.back();
            if (!deepest.subfolders.empty())
            {
                const std::string next = std::move(deepest.subfolders.back());
                deepest.subfolders.pop_back();
                Enter(deepest.stream.GetDescriptor(), next);
                continue;
            }
            const Folder done = std::move(deepest);
            m_folders.pop_back();
            if (const int reason = ReopenDeepest(done); reason != 0)
            {
                OnUnread(reason);
                m_folders.clear();
                return;
            }
            OnDone(m_folders.empty() ? parent : m_folders.back().stream.GetDescriptor(), done,
                m_folders.empty() ? nullptr : &m_folders.back());
        }
    }

    // An entry of a folder that is being read; true to have it entered as a folder later.
    virtual bool OnEntry(Folder& folder, const dirent& entry) = 0;
    // What was to be entered is no folder any more, or does not open. `above` is null at the top.
    virtual void OnUnopened(int parent, const std::string& name, int reason, Folder* above) = 0;
    // Something of a folder was not seen.
    virtual void OnUnread(int reason) = 0;
    // Everything below the folder is done.
    virtual void OnDone(int parent, const Folder& folder, Folder* above) = 0;

private:
    void Enter(int parent, const std::string& name)
    {
        if (m_folders.size() - m_firstOpen >= kMostOpenFolders)
            CloseShallowest();
        Folder folder;
        folder.name = name;
        do
        {
            folder.stream = FolderStream(::openat(parent, name.c_str(), kReadFolder | O_NOFOLLOW));
        } while (!folder.stream.IsOpen() && (errno == EMFILE || errno == ENFILE) && CloseShallowest());
        if (!folder.stream.IsOpen())
        {
            OnUnopened(parent, name, errno, m_folders.empty() ? nullptr : &m_folders.back());
            return;
        }
        const auto visit = [&](const dirent& entry)
        {
            m_checker.ThrowIfCancelled();
            if (OnEntry(folder, entry))
                folder.subfolders.emplace_back(entry.d_name);
        };
        if (const int reason = folder.stream.ForEachEntry(visit); reason != 0)
            OnUnread(reason);
        m_folders.push_back(std::move(folder));
    }

    // All but the deepest, whose descriptor is in use. False when there is none left to close.
    bool CloseShallowest() noexcept
    {
        if (m_firstOpen + 1 >= m_folders.size())
            return false;
        Folder& folder = m_folders[m_firstOpen++];
        struct stat status;
        if (::fstat(folder.stream.GetDescriptor(), &status) == 0)
        {
            folder.device = status.st_dev;
            folder.inode = status.st_ino;
        }
        folder.stream.Close();
        return true;
    }

    // 0, or why the walk ends here; ESTALE when the way back leads to another folder.
    int ReopenDeepest(const Folder& below) noexcept
    {
        if (m_folders.size() > m_firstOpen || m_folders.empty())
            return 0;
        Folder& folder = m_folders.back();
        folder.stream = FolderStream(::openat(below.stream.GetDescriptor(), "..", kReadFolder));
        m_firstOpen = m_folders.size() - 1;
        struct stat status;
        if (!folder.stream.IsOpen() || ::fstat(folder.stream.GetDescriptor(), &status) != 0)
            return errno == ENOENT ? ESTALE : errno;
        return status.st_dev == folder.device && status.st_ino == folder.inode ? 0 : ESTALE;
    }

    CancellationChecker m_checker;
    std::vector<Folder> m_folders;   // from the top down to the one that the walk is in
    std::size_t m_firstOpen = 0;     // those before it are closed
};

class MeasuringWalk final : TreeWalk
{
public:
    TreeMeasure Measure(int parent, const std::string& name)
    {
        struct stat status;
        if (!ReadStatus(parent, name.c_str(), status))
        {
            m_measure.exists = errno != ENOENT;
            m_measure.isComplete = false;
            return m_measure;
        }
        if (!S_ISDIR(status.st_mode))
        {
            Count(status);
            return m_measure;
        }
        Walk(parent, name);
        if (!m_hasTime)
            m_measure.newestWriteTime = WriteTimeOf(status);
        return m_measure;
    }

private:
    void Count(const struct stat& status)
    {
        if (S_ISREG(status.st_mode))
        {
            const auto sizeB = static_cast<std::uint64_t>(status.st_size);
            const std::uint64_t room = std::numeric_limits<std::uint64_t>::max() - m_measure.sizeB;
            m_measure.sizeB += std::min(sizeB, room);
        }
        const DateTime time = WriteTimeOf(status);
        m_measure.newestWriteTime = m_hasTime ? std::max(m_measure.newestWriteTime, time) : time;
        m_hasTime = true;
    }

    bool OnEntry(Folder& folder, const dirent& entry) override
    {
        if (entry.d_type == DT_DIR)
            return true;
        struct stat status;
        if (!ReadStatus(folder.stream.GetDescriptor(), entry.d_name, status))
        {
            if (errno != ENOENT)   // that one has vanished
                m_measure.isComplete = false;
            return false;
        }
        if (S_ISDIR(status.st_mode))
            return true;
        Count(status);
        folder.hasContent = true;
        return false;
    }

    void OnUnopened(int parent, const std::string& name, int /*reason*/, Folder* above) override
    {
        struct stat status;
        if (!ReadStatus(parent, name.c_str(), status))
        {
            if (errno != ENOENT)
                m_measure.isComplete = false;
            else if (above == nullptr)
                m_measure.exists = false;
            return;
        }
        Count(status);
        if (S_ISDIR(status.st_mode))
            m_measure.isComplete = false;
        if (above != nullptr)
            above->hasContent = true;
    }

    void OnUnread(int /*reason*/) override { m_measure.isComplete = false; }

    void OnDone(int /*parent*/, const Folder& folder, Folder* above) override
    {
        struct stat status;
        if (!folder.hasContent && ::fstat(folder.stream.GetDescriptor(), &status) == 0)
        {
            if (status.st_nlink == 0)   // removed while it was open
            {
                if (above == nullptr)
                    m_measure.exists = false;
                return;
            }
            Count(status);
        }
        if (above != nullptr)
            above->hasContent = true;
    }

    TreeMeasure m_measure;
    bool m_hasTime = false;
};

// Every removal goes by the descriptor of an open folder and one name in it, so a link in the place of a folder is itself
// removed and what it points to never is.
class RemovingWalk final : TreeWalk
{
public:
    TreeRemoval Remove(int parent, const std::string& name)
    {
        switch (const int reason = RemoveIfNoFolder(parent, name.c_str()); reason)
        {
        case 0:
            return {RemovalOutcome::Removed, {}};
        case ENOENT:
            return {RemovalOutcome::Missing, {}};
        case EISDIR:
            break;
        default:
            return {RemovalOutcome::Failed, ErrorOf(reason)};
        }
        for (int pass = 0; pass < kRemovalPasses; ++pass)
        {
            m_reason = 0;
            Walk(parent, name);
            if (m_top)
                return {*m_top, {}};
            if (m_reason != ENOTEMPTY && m_reason != EEXIST)
                break;
        }
        return {RemovalOutcome::Failed, ErrorOf(m_reason)};
    }

private:
    // 0, EISDIR for a folder, or why the entry stays.
    static int RemoveIfNoFolder(int parent, const char* name) noexcept
    {
        if (::unlinkat(parent, name, 0) == 0)
            return 0;
        const int reason = errno;
        struct stat status;
        if (reason == EPERM && ReadStatus(parent, name, status) && S_ISDIR(status.st_mode))
            return EISDIR;   // POSIX lets a system say EPERM
        return reason;
    }

    void Keep(int reason) noexcept
    {
        if (m_reason == 0 && reason != 0 && reason != ENOENT)
            m_reason = reason;
    }

    // What became of the entry at the top, if it is gone, and whatever else is a reason of failure.
    void Note(int reason, const Folder* above) noexcept
    {
        if (above != nullptr || (reason != 0 && reason != ENOENT))
            Keep(reason);
        else
            m_top = reason == 0 ? RemovalOutcome::Removed : RemovalOutcome::Missing;
    }

    bool OnEntry(Folder& folder, const dirent& entry) override
    {
        if (entry.d_type == DT_DIR)
            return true;
        const int reason = RemoveIfNoFolder(folder.stream.GetDescriptor(), entry.d_name);
        if (reason == EISDIR)
            return true;
        Keep(reason);
        return false;
    }

    void OnUnopened(int parent, const std::string& name, int reason, Folder* above) override
    {
        // An empty folder need not be readable to be removed.
        const bool isFolder = reason != ENOTDIR && reason != ELOOP && reason != ENOENT;
        if (isFolder && ::unlinkat(parent, name.c_str(), AT_REMOVEDIR) == 0)
            Note(0, above);
        else if (isFolder)
            Note(errno == ENOENT ? ENOENT : reason, above);
        else
            Note(reason == ENOENT ? ENOENT : RemoveIfNoFolder(parent, name.c_str()), above);
    }

    void OnUnread(int reason) override { Keep(reason); }

    void OnDone(int parent, const Folder& folder, Folder* above) override
    {
        int reason = ::unlinkat(parent, folder.name.c_str(), AT_REMOVEDIR) == 0 ? 0 : errno;
        if (reason == ENOTDIR)   // replaced by a link or a file
            reason = RemoveIfNoFolder(parent, folder.name.c_str());
        Note(reason, above);
    }

    int m_reason = 0;   // the first failure of this pass
    std::optional<RemovalOutcome> m_top;
};

}   // namespace

std::optional<FileKind> FileSystem::GetFileKind(const TPath& path) noexcept
{
    struct stat status;
    if (HasZero(path) || !ReadStatus(AT_FDCWD, path.GetNative().c_str(), status))
        return std::nullopt;
    return KindOf(status);
}

bool FileSystem::IsRegularFile(const TPath& path) noexcept
{
    return GetFileKind(path) == FileKind::RegularFile;
}

std::optional<DateTime> FileSystem::GetLastWriteTime(const TPath& path) noexcept
{
    struct stat status;
    if (HasZero(path) || !ReadStatus(AT_FDCWD, path.GetNative().c_str(), status))
        return std::nullopt;
    return WriteTimeOf(status);
}

DirectoryListing FileSystem::ListDirectory(const TPath& directory)
{
    if (HasZero(directory))
        return {{}, ErrorOf(EINVAL)};
    return ListStream(FolderStream(::open(directory.GetNative().c_str(), kReadFolder)));
}

std::error_code FileSystem::RemoveFile(const TPath& path) noexcept
{
    if (HasZero(path))
        return ErrorOf(EINVAL);
    return ::unlink(path.GetNative().c_str()) == 0 ? std::error_code() : ErrorOf(errno);
}

std::error_code FileSystem::RenameWithoutOverwriting(const TPath& from, const TPath& to) noexcept
{
    if (HasZero(from) || HasZero(to))
        return ErrorOf(EINVAL);
    const char* const oldName = from.GetNative().c_str();
    const char* const newName = to.GetNative().c_str();
    if (::renameat2(AT_FDCWD, oldName, AT_FDCWD, newName, RENAME_NOREPLACE) == 0)
        return {};
    if (errno != EINVAL && errno != ENOSYS)
        return ErrorOf(errno);
    // The file system does not know the flag. A second name is never put over an existing one.
    if (::linkat(AT_FDCWD, oldName, AT_FDCWD, newName, 0) != 0)
        return ErrorOf(errno);
    if (::unlink(oldName) == 0)
        return {};
    const int reason = errno;
    ::unlink(newName);
    return ErrorOf(reason);
}

FolderHandle::FolderHandle(FolderHandle&& other) noexcept : m_descriptor(std::exchange(other.m_descriptor, -1)) {}

FolderHandle& FolderHandle::operator=(FolderHandle&& other) noexcept
{
    std::swap(m_descriptor, other.m_descriptor);
    return *this;
}

FolderHandle::~FolderHandle()
{
    if (IsOpen())
        ::close(m_descriptor);
}

FolderHandle FolderHandle::Open(const TPath& path, std::error_code& error) noexcept
{
    const int descriptor = HasZero(path) ? -1 : ::open(path.GetNative().c_str(), kReadFolder);
    error = descriptor >= 0 ? std::error_code() : ErrorOf(HasZero(path) ? EINVAL : errno);
    return FolderHandle(descriptor);
}

DirectoryListing FolderHandle::List() const
{
    return ListStream(FolderStream(::openat(m_descriptor, ".", kReadFolder)));   // with a position of its own
}

bool FolderHandle::TryLock() const noexcept
{
    return ::flock(m_descriptor, LOCK_EX | LOCK_NB) == 0 || errno != EWOULDBLOCK;
}

TreeMeasure FolderHandle::MeasureTree(const std::string& name) const
{
    if (!IsEntryName(name))
        return {0, {}, false, false};
    return MeasuringWalk().Measure(m_descriptor, name);
}

TreeRemoval FolderHandle::RemoveTree(const std::string& name) const
{
    if (!IsEntryName(name))
        return {RemovalOutcome::Failed, ErrorOf(EINVAL)};
    return RemovingWalk().Remove(m_descriptor, name);
}
