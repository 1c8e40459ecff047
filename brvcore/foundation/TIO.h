#pragma once

#include "brvcore/foundation/BrvExport.h"
#include "brvcore/foundation/TPath.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

// A stream of bytes. Failures of the system (a full disk, a file that cannot be opened) throw std::system_error with the
// path in its text. One object serves one thread.
class BRV_EXPORT TIO
{
public:
    virtual ~TIO();

    // Reads up to `size` bytes at the stream's position and moves it; 0 only at the end or for size 0.
    virtual std::size_t Read(void* buffer, std::size_t size) = 0;
    // Writes all bytes at the stream's position and moves it.
    virtual void Write(const void* bytes, std::size_t size) = 0;
    void Write(std::string_view bytes) { Write(bytes.data(), bytes.size()); }
    virtual void Flush() {}
};

// A stream with a size and a position that can be set. A write at the end makes it longer; one beyond the end fills the
// gap with zeros.
class BRV_EXPORT TRandomIO : public TIO
{
public:
    using TIO::Write;

    virtual std::uint64_t GetSize() const = 0;
    virtual void SetSize(std::uint64_t size) = 0;   // cuts off, or fills with zeros
    virtual std::uint64_t GetPosition() const = 0;
    virtual void SetPosition(std::uint64_t position) = 0;
};

// Bytes in memory.
class BRV_EXPORT TMemoryIO : public TRandomIO
{
public:
    using TRandomIO::Write;

    TMemoryIO() = default;
    explicit TMemoryIO(std::string bytes) : m_bytes(std::move(bytes)) {}

    std::size_t Read(void* buffer, std::size_t size) override;
    void Write(const void* bytes, std::size_t size) override;
    std::uint64_t GetSize() const override { return m_bytes.size(); }
    void SetSize(std::uint64_t size) override;
    std::uint64_t GetPosition() const override { return m_position; }
    void SetPosition(std::uint64_t position) override { m_position = position; }

    const std::string& GetBytes() const noexcept { return m_bytes; }
    std::string TakeBytes() noexcept;   // leaves the stream empty

private:
    std::string m_bytes;
    std::uint64_t m_position = 0;
};

// A file, unbuffered: give it pieces of some kilobytes. Closed with the object; Close() tells of errors that the system
// reports only then.
class BRV_EXPORT TFileIO : public TRandomIO
{
public:
    using TRandomIO::Write;

    enum class Mode
    {
        Read,              // an existing file
        ReadWrite,         // an existing or a new one, kept as it is
        Truncate,          // an existing or a new one, emptied
        CreateNew,         // fails when the path exists; readable and writable by the owner alone
        CreateNewShared,   // fails when the path exists; with the permissions of any new file
    };

    TFileIO(const TPath& path, Mode mode);
    ~TFileIO() override;
    TFileIO(const TFileIO&) = delete;
    TFileIO& operator=(const TFileIO&) = delete;

    std::size_t Read(void* buffer, std::size_t size) override;
    void Write(const void* bytes, std::size_t size) override;
    std::uint64_t GetSize() const override;
    void SetSize(std::uint64_t size) override;
    std::uint64_t GetPosition() const override { return m_position; }
    void SetPosition(std::uint64_t position) override { m_position = position; }
    void Close();

    const TPath& GetPath() const noexcept { return m_path; }

private:
    [[noreturn]] void Fail(const char* what) const;

    TPath m_path;
    int m_descriptor = -1;
    std::uint64_t m_position = 0;
};
