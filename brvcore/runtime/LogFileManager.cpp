#include "brvcore/runtime/LogFileManager.h"

#include "brvcore/foundation/FileSystem.h"

#include <algorithm>
#include <filesystem>
#include <optional>
#include <utility>

using namespace TLog;

namespace
{

std::string ToAsciiLower(std::string text)
{
    for (char& c : text)
        if (c >= 'A' && c <= 'Z')
            c = static_cast<char>(c + ('a' - 'A'));
    return text;
}

// What follows the last dot; a dot at the beginning of a name begins no extension.
std::string ExtensionOf(const std::string& name)
{
    const std::string extension = std::filesystem::path(name).extension().native();
    return extension.empty() ? extension : extension.substr(1);
}

}   // namespace

struct FileCollection::Impl
{
    std::vector<FileInfo> files;
};

FileCollection::FileCollection() : m_impl(std::make_unique<Impl>()) {}
FileCollection::FileCollection(FileCollection&&) noexcept = default;
FileCollection& FileCollection::operator=(FileCollection&&) noexcept = default;
FileCollection::~FileCollection() = default;

void FileCollection::AddFile(FileInfo file)
{
    m_impl->files.push_back(std::move(file));
}

void FileCollection::RemoveFile(const TPath& filePath)
{
    std::erase_if(m_impl->files, [&](const FileInfo& file) { return file.GetFilePath() == filePath; });
}

std::size_t FileCollection::GetSize() const noexcept
{
    return m_impl->files.size();
}

std::vector<FileInfo> FileCollection::GetOldestFiles(std::uint64_t count) const
{
    std::vector<FileInfo> files = m_impl->files;
    const auto isOlder = [](const FileInfo& a, const FileInfo& b)
    {
        return a.GetFileClosedTime() != b.GetFileClosedTime() ? a.GetFileClosedTime() < b.GetFileClosedTime()
                                                              : a.GetFilePath() < b.GetFilePath();
    };
    std::sort(files.begin(), files.end(), isOlder);
    if (count < files.size())
        files.erase(files.begin() + static_cast<std::ptrdiff_t>(count), files.end());
    return files;
}

LogFileManager::LogFileManager(
    const TPath& directory, const TString& baseName, const TString& extension, const TPath& fileInUse)
    : m_directory(directory), m_baseName(baseName.ToUTF8()), m_extension(extension.ToUTF8()),
      m_nameInUse(fileInUse.GetNative().filename().native())
{
}

std::uint64_t LogFileManager::DeleteOlderFilesToRestrictFileCount(std::uint64_t maxCount) const
{
    const FileCollection collection = CollectFiles();
    if (collection.GetSize() <= maxCount)
        return 0;
    std::vector<FileInfo> files = collection.GetOldestFiles(collection.GetSize());
    const auto isOther = [this](const FileInfo& file)
    { return file.GetFilePath().GetNative().filename().native() != m_nameInUse; };
    std::stable_partition(files.begin(), files.end(), isOther);   // the file in use is the youngest
    files.erase(files.end() - static_cast<std::ptrdiff_t>(maxCount), files.end());
    std::uint64_t removals = 0;
    for (const FileInfo& file : files)
    {
        if (!FileSystem::IsRegularFile(file.GetFilePath()))   // gone by now, or something else in its place
            continue;
        FileSystem::RemoveFile(file.GetFilePath());
        ++removals;
    }
    return removals;
}

FileCollection LogFileManager::CollectFiles() const
{
    FileCollection files;
    const TPath directory = m_directory.IsEmpty() ? TPath(u".") : m_directory;
    for (const FileSystem::DirectoryEntry& entry : FileSystem::ListDirectory(directory).entries)
    {
        if (entry.kind != FileSystem::FileKind::RegularFile || !IsOfThisLog(entry.name))
            continue;
        TPath path(directory.GetNative() / entry.name);
        if (const std::optional<DateTime> closedTime = FileSystem::GetLastWriteTime(path))
            files.AddFile({std::move(path), *closedTime});
    }
    return files;
}

bool LogFileManager::IsOfThisLog(const std::string& name) const
{
    return name.starts_with(m_baseName) && ToAsciiLower(ExtensionOf(name)) == m_extension;
}
