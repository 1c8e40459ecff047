#pragma once

#include "brvcore/foundation/BrvExport.h"
#include "brvcore/foundation/DateTime.h"
#include "brvcore/foundation/TPath.h"
#include "brvcore/foundation/TString.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace TLog
{

// One file of a log. The closed time is the time of its last write, in UTC.
class FileInfo
{
public:
    FileInfo(TPath filePath, DateTime fileClosedTime)
        : m_filePath(std::move(filePath)), m_fileClosedTime(fileClosedTime)
    {
    }

    const TPath& GetFilePath() const noexcept { return m_filePath; }
    DateTime GetFileClosedTime() const noexcept { return m_fileClosedTime; }

private:
    TPath m_filePath;
    DateTime m_fileClosedTime;
};

// The files of one log that were found, orderable by the time at which they were closed. For one thread. One that was moved
// from may only be assigned to or destroyed.
class BRV_EXPORT FileCollection
{
public:
    FileCollection();
    FileCollection(FileCollection&&) noexcept;
    FileCollection& operator=(FileCollection&&) noexcept;
    ~FileCollection();

    void AddFile(FileInfo file);
    // Of every entry with this path; unknown paths change nothing.
    void RemoveFile(const TPath& filePath);
    std::size_t GetSize() const noexcept;
    // At most `count` files, the one closed first in front; those of one time by their paths. O(n log n).
    std::vector<FileInfo> GetOldestFiles(std::uint64_t count) const;

private:
    struct Impl;
    std::unique_ptr<Impl> m_impl;
};

// Keeps the number of files of one log within a limit, by deleting the oldest.
//
// To the log belongs every regular file of the directory whose name begins with the base name and whose extension, in ASCII
// lower case, equals the given one. Links, folders and pipes are neither counted nor deleted. Beware:
// - The base name is a prefix, case-sensitive: the files of "app.log" include app_http.log and apple.log. Give the logs of
//   one directory names of which none begins another. The file that another log is writing is not spared either: what that
//   log writes into it afterwards is lost.
// - The given extension is compared as it stands: for "APP.LOG" no file is ever found, so none is ever deleted.
//
// Safe from any thread; several objects and processes may delete in one directory at once. Trouble of the file system is not
// reported: what cannot be read or removed stays. Only std::bad_alloc passes out.
class BRV_EXPORT LogFileManager
{
public:
    // The extension comes without its dot. The file in use, if given, counts as the youngest whatever the times say, also
    // when the system's clock was set back. Only its name matters: it lies in the directory.
    LogFileManager(
        const TPath& directory, const TString& baseName, const TString& extension, const TPath& fileInUse = {});

    // Deletes the oldest files beyond `maxCount`, all of them for 0, and returns how many removals it tried. Files that
    // vanish meanwhile are left out. O(n) looks at the directory, O(n log n) time.
    std::uint64_t DeleteOlderFilesToRestrictFileCount(std::uint64_t maxCount) const;

private:
    FileCollection CollectFiles() const;
    bool IsOfThisLog(const std::string& name) const;

    TPath m_directory;
    std::string m_baseName;    // native bytes
    std::string m_extension;   // native bytes, without its dot
    std::string m_nameInUse;
};

}   // namespace TLog
