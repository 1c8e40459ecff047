// Matrix files from outside: whatever the bytes are, they are a matrix, whose text reads back as the same text.

#include "brvcore/transforms/LinearAlgebra.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include <sys/mman.h>
#include <unistd.h>

namespace
{

// A file in memory; the path leads to it while the object lives.
class MemoryFile
{
public:
    MemoryFile(const void* data, std::size_t size) : m_file(memfd_create("MatrixCsvFuzz", 0))
    {
        if (m_file < 0 || write(m_file, data, size) != static_cast<ssize_t>(size))
            std::abort();
    }
    ~MemoryFile() { close(m_file); }
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;

    TString GetPath() const { return TString(u"/proc/self/fd/") + TString::FromInt(m_file); }

private:
    int m_file;
};

}   // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    using LinearAlgebra::Matrix;
    const auto lines = static_cast<std::uint64_t>(std::count(data, data + size, '\n')) + 1;
    const auto fields = static_cast<std::uint64_t>(std::count(data, data + size, ',')) + 1;
    if (lines * fields > 1000000)   // one wide line above many short ones
        return 0;
    const MemoryFile file(data, size);
    for (const bool hasHeader : {false, true})
    {
        const Matrix m(file.GetPath(), hasHeader);
        if (m.GetNumRows() > lines || m.GetNumCols() > fields)
            std::abort();
        if (m.GetColNames().size() != (hasHeader ? m.GetNumCols() : 0))
            std::abort();
        if (hasHeader)
            continue;   // a name may hold a carriage return or begin with a byte order mark: it does not read back
        const std::string text = m.ToCsvString().ToUTF8();
        const MemoryFile again(text.data(), text.size());
        if (Matrix(again.GetPath()).ToCsvString().ToUTF8() != text)
            std::abort();
    }
    return 0;
}
