#include "brvcore/runtime/FolderSweeper.h"

#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <memory>
#include <string>

#include <benchmark/benchmark.h>
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

// Measuring a folder, beside the least that any measurement does: open every folder, look once at every file.
namespace
{

constexpr int kFiles = 50'000;

// So many files, evenly in so many folders; removed when the program ends.
class Tree
{
public:
    explicit Tree(int folders)
    {
        std::string pattern = (std::filesystem::temp_directory_path() / "brvcore-bench-XXXXXX").native();
        if (mkdtemp(pattern.data()) == nullptr)
            std::abort();
        m_path = pattern;
        for (int i = 0; i < kFiles; ++i)
        {
            const std::filesystem::path folder = m_path / std::to_string(i % folders);
            if (i < folders)
                std::filesystem::create_directory(folder);
            const int file = creat((folder / std::to_string(i)).c_str(), 0600);
            if (file < 0 || ftruncate(file, i) != 0)
                std::abort();
            close(file);
        }
    }
    ~Tree()
    {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }
    Tree(const Tree&) = delete;
    Tree& operator=(const Tree&) = delete;

    const std::filesystem::path& Path() const { return m_path; }

    static const Tree& OfFolders(int folders)
    {
        static std::unique_ptr<Tree> tree;
        static int treeFolders = 0;
        if (treeFolders != folders)
        {
            tree.reset();
            tree = std::make_unique<Tree>(folders);
            treeFolders = folders;
        }
        return *tree;
    }

private:
    std::filesystem::path m_path;
};

struct Sums
{
    std::uint64_t sizeB = 0;
    std::time_t newest = 0;
};

void WalkPlainly(int folder, Sums& sums)
{
    DIR* const stream = fdopendir(folder);
    while (const dirent* const entry = readdir(stream))
    {
        if (entry->d_name[0] == '.')   // none but "." and ".." begins so here
            continue;
        if (entry->d_type == DT_DIR)
        {
            WalkPlainly(openat(folder, entry->d_name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC), sums);
            continue;
        }
        struct stat status;
        if (fstatat(folder, entry->d_name, &status, AT_SYMLINK_NOFOLLOW) != 0)
            continue;
        sums.sizeB += static_cast<std::uint64_t>(status.st_size);
        sums.newest = status.st_mtim.tv_sec > sums.newest ? status.st_mtim.tv_sec : sums.newest;
    }
    closedir(stream);
}

void BM_PlainWalk(benchmark::State& state)
{
    const Tree& tree = Tree::OfFolders(static_cast<int>(state.range(0)));
    for (auto _ : state)
    {
        Sums sums;
        WalkPlainly(open(tree.Path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC), sums);
        benchmark::DoNotOptimize(sums);
    }
    state.SetItemsProcessed(state.iterations() * kFiles);
}

// A sweep that finds the folder within its limits.
void BM_SweepWithinLimits(benchmark::State& state)
{
    const Tree& tree = Tree::OfFolders(static_cast<int>(state.range(0)));
    const TPath folder(tree.Path());
    const FolderSweeper sweeper(~std::uint64_t{0}, FolderSweepOrder::OldestFirst, 64'999, std::chrono::seconds(0));
    for (auto _ : state)
        if (!sweeper.Sweep(folder, 0))
            state.SkipWithError("the sweep failed");
    state.SetItemsProcessed(state.iterations() * kFiles);
}

}   // namespace

BENCHMARK(BM_PlainWalk)->Arg(200)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_SweepWithinLimits)->Arg(200)->Unit(benchmark::kMillisecond);   // goal: at most 1.5 times the plain walk
