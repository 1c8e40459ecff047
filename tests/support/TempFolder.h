#pragma once

#include "brvcore/foundation/TPath.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

// A new folder that is removed with all its contents at the end of the scope.
class TempFolder
{
public:
    TempFolder()
    {
        std::string pattern = (std::filesystem::temp_directory_path() / "brvcore-XXXXXX").native();
        if (mkdtemp(pattern.data()) == nullptr)
            std::abort();
        m_path = pattern;
    }
    ~TempFolder()
    {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;

    const std::filesystem::path& Get() const { return m_path; }
    TPath Path() const { return TPath(m_path); }
    std::filesystem::path operator/(const std::string& name) const { return m_path / name; }

    // A file of so many bytes (a hole) and its folders; written at that time (Unix, seconds) unless negative.
    std::filesystem::path AddFile(const std::string& name, std::uint64_t sizeB, std::time_t time = -1) const
    {
        const std::filesystem::path path = m_path / name;
        std::filesystem::create_directories(path.parent_path());
        std::ofstream(path).close();
        std::filesystem::resize_file(path, sizeB);
        if (time >= 0)
            SetTime(path, {time, 0});
        return path;
    }
    static void SetTime(const std::filesystem::path& path, std::timespec time)
    {
        const std::timespec times[] = {time, time};
        utimensat(AT_FDCWD, path.c_str(), times, AT_SYMLINK_NOFOLLOW);
    }
    static std::vector<std::string> NamesIn(const std::filesystem::path& folder)
    {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(folder))
            names.push_back(entry.path().filename().native());
        std::sort(names.begin(), names.end());
        return names;
    }
    std::vector<std::string> Names() const { return NamesIn(m_path); }

private:
    std::filesystem::path m_path;
};

// Runs the function on a thread that has no rights beyond those of "nobody" (system calls of one thread change no other).
// Under any other user than root it runs with that user's rights, which serves the same. False, without a run, where the
// rights cannot be given up.
template <class Function> bool RunWithoutPrivileges(const Function& function)
{
    bool hasRun = false;
    std::thread(
        [&]
        {
            constexpr long kNobody = 65534;
            hasRun = geteuid() != 0 || syscall(SYS_setresuid, -1L, kNobody, -1L) == 0;
            if (hasRun)
                function();
        })
        .join();
    return hasRun;
}

// Runs the function on a thread with a tmpfs of its own over the folder, gone afterwards. False where that is not allowed.
template <class Function>
bool RunOnPrivateTmpfs(const std::filesystem::path& folder, const char* options, const Function& function)
{
    bool isMounted = false;
    std::thread(
        [&]
        {
            isMounted = unshare(CLONE_NEWNS) == 0 && mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
                        mount("none", folder.c_str(), "tmpfs", 0, options) == 0;
            if (isMounted)
                function();
        })
        .join();
    return isMounted;
}

inline bool MakeReadOnly(const std::filesystem::path& mountPoint)
{
    return mount("none", mountPoint.c_str(), nullptr, MS_REMOUNT | MS_RDONLY, nullptr) == 0;
}
