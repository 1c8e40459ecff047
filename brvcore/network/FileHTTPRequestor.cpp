#include "brvcore/network/FileHTTPRequestor.h"

#include "brvcore/foundation/LogMessage.h"
#include "brvcore/foundation/LogicException.h"
#include "brvcore/foundation/SecureRandom.h"
#include "brvcore/foundation/TIO.h"
#include "brvcore/network/TNetworkReply.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <optional>
#include <string>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

// --- BinaryHTTPRequestor ----------------------------------------------------------------------------------------------

struct BinaryHTTPRequestor::Sink final : IBodySink
{
    Sink(std::shared_ptr<TRandomIO> stream, std::uint64_t start) : out(std::move(stream)), startOffset(start) {}

    void Begin()
    {
        oldSize = out->GetSize();
        written = 0;
    }
    void Write(const char* bytes, std::size_t size) override
    {
        out->SetPosition(startOffset + written);
        isTouched = true;
        out->Write(bytes, size);
        written += size;
    }
    void Rewind() override
    {
        if (std::exchange(isTouched, false))
            out->SetSize(std::min(startOffset, oldSize));
        written = 0;
    }

    const std::shared_ptr<TRandomIO> out;
    const std::uint64_t startOffset;
    std::uint64_t oldSize = 0;
    std::uint64_t written = 0;
    bool isTouched = false;
};

BinaryHTTPRequestor::BinaryHTTPRequestor(const TString& url, const TString& verb, std::shared_ptr<TRandomIO> out,
    std::uint64_t startOffset, HTTPRequest::RequestInfo info, HTTPRequest::InfiniteTimeout infiniteTimeout)
    : HTTPRequestor(url, verb, std::move(info), infiniteTimeout),
      m_sink(std::make_unique<Sink>(std::move(out), startOffset))
{
    const bool hasStream = m_sink->out != nullptr;
    BRV_LOGIC_ASSERT(0x94E2F852, hasStream);
}

BinaryHTTPRequestor::~BinaryHTTPRequestor() = default;

std::uint64_t BinaryHTTPRequestor::ProcessFile(bool withProgress)
{
    TryExecute(withProgress);
    return m_sink->written;
}

IBodySink& BinaryHTTPRequestor::GetBodySink()
{
    m_sink->Begin();
    return *m_sink;
}

// --- FileHTTPRequestor ------------------------------------------------------------------------------------------------

namespace
{

// A new, empty file in a folder, with the permissions that any new file of this process gets there.
TPath CreateTemporaryFile(const std::filesystem::path& folder)
{
    constexpr mode_t kReadWriteForAll = 0666;   // the system takes off what the process's mask says
    constexpr int kTries = 16;
    for (int i = 0; i < kTries; ++i)
    {
        std::array<char, 40> name{};
        std::snprintf(
            name.data(), name.size(), ".%016llx.part", static_cast<unsigned long long>(SecureRandom::NextUInt64()));
        const std::filesystem::path path = folder / name.data();
        const int descriptor = ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, kReadWriteForAll);
        if (descriptor >= 0)
        {
            ::close(descriptor);
            return TPath(path);
        }
        if (errno != EEXIST && errno != EINTR)
            throw std::system_error(errno, std::generic_category(), "cannot create " + path.native());
    }
    throw std::system_error(EEXIST, std::generic_category(), "cannot create a file in " + folder.native());
}

}   // namespace

struct FileHTTPRequestor::Sink final : IBodySink
{
    explicit Sink(TPath path) : target(std::move(path)) {}
    ~Sink() override { Discard(); }

    void Write(const char* bytes, std::size_t size) override
    {
        Open();
        file->Write(bytes, size);
        written += size;
    }
    void Rewind() override
    {
        Discard();
        written = 0;
    }

    void Open()
    {
        if (file)
            return;
        temporary = CreateTemporaryFile(target.GetNative().parent_path());
        file.emplace(temporary, TFileIO::Mode::ReadWrite);
    }
    void Commit()
    {
        Open();   // a body without bytes is an empty file
        file->Close();
        std::filesystem::rename(temporary.GetNative(), target.GetNative());
        temporary = TPath();
        file.reset();
    }
    void Discard() noexcept
    {
        file.reset();
        if (temporary.IsEmpty())
            return;
        std::error_code error;
        std::filesystem::remove(temporary.GetNative(), error);
        if (error)
            LogMessage(LogSeverity::Warning,
                TString(u"FileHTTPRequestor: a temporary file could not be removed: ") + temporary.ToText());
        temporary = TPath();
    }

    const TPath target;
    TPath temporary;   // empty: none
    std::optional<TFileIO> file;
    std::uint64_t written = 0;
};

FileHTTPRequestor::FileHTTPRequestor(const TString& url, const TString& verb, const TPath& path,
    HTTPRequest::RequestInfo info, HTTPRequest::InfiniteTimeout infiniteTimeout)
    : HTTPRequestor(url, verb, std::move(info), infiniteTimeout), m_sink(std::make_unique<Sink>(path))
{
}

FileHTTPRequestor::~FileHTTPRequestor() = default;

std::uint64_t FileHTTPRequestor::ProcessFile(bool withProgress)
{
    TryExecute(withProgress);
    return m_sink->written;
}

IBodySink& FileHTTPRequestor::GetBodySink()
{
    return *m_sink;
}

void FileHTTPRequestor::Deliver()
{
    m_sink->Commit();
}
