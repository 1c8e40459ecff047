#include "brvcore/network/FileHTTPRequestor.h"

#include "brvcore/foundation/LogMessage.h"
#include "brvcore/foundation/LogicException.h"
#include "brvcore/foundation/SecureRandom.h"
#include "brvcore/foundation/TIO.h"
#include "brvcore/network/TNetworkReply.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <filesystem>
#include <optional>
#include <system_error>
#include <utility>

// --- BinaryHTTPRequestor ----------------------------------------------------------------------------------------------

struct BinaryHTTPRequestor::Sink final : IBodySink
{
    Sink(std::shared_ptr<TRandomIO> stream, std::uint64_t start) : out(std::move(stream)), startOffset(start) {}

    void Begin()
    {
        oldSize = out->GetSize();
        written = 0;
        isTouched = false;
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

// A name that no other file in the folder has, unless chance repeats 64 bits.
TPath TemporaryName(const std::filesystem::path& folder)
{
    std::array<char, 40> name{};
    std::snprintf(
        name.data(), name.size(), ".%016llx.part", static_cast<unsigned long long>(SecureRandom::NextUInt64()));
    return TPath(folder / name.data());
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

    // Finds out before the request is sent: one that changes something on the server should not do so for nothing.
    void CheckTarget()
    {
        const std::filesystem::path& path = target.GetNative();
        if (!path.has_filename() || is_directory(std::filesystem::symlink_status(path)))
            throw std::system_error(
                std::make_error_code(std::errc::is_a_directory), "cannot replace \"" + path.native() + '"');
        Open();
        Discard();
    }
    void Open()
    {
        if (file)
            return;
        const TPath path = TemporaryName(target.GetNative().parent_path());
        file.emplace(path, TFileIO::Mode::CreateNewShared);
        temporary = path;
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
    m_sink->CheckTarget();
    return *m_sink;
}

void FileHTTPRequestor::Deliver()
{
    m_sink->Commit();
}
