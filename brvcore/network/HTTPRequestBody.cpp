#include "brvcore/network/HTTPRequestBody.h"

#include "brvcore/foundation/CancellationChecker.h"
#include "brvcore/foundation/IProgressReporter.h"
#include "brvcore/foundation/LogicException.h"
#include "brvcore/foundation/TFormatString.h"
#include "brvcore/foundation/TIO.h"
#include "brvcore/network/HTTPExceptions.h"
#include "brvcore/network/HeaderText.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <utility>

namespace
{

constexpr std::size_t kCopyPiece = std::size_t{1} << 16U;   // bytes between two reports of progress
constexpr std::uint32_t kStreamCutShort = 0xF1A6838C;
constexpr char kLineEnd[] = "\r\n";

// A name inside the quotes of a Content-Disposition line.
std::string QuotableName(const TString& name)
{
    return name.Replaced(u"\"", u"%22").Replaced(u"\r", u"%0D").Replaced(u"\n", u"%0A").ToUTF8();
}

std::string CheckedLine(const TString& text)
{
    CheckHasNoControlCharacters(text);
    return text.ToUTF8() + kLineEnd;
}

std::string FieldLine(const TString& name)
{
    return "Content-Disposition: form-data; name=\"" + QuotableName(name) + '"';
}

void AddFile(RequestBody& body, const TString& fieldName, const HTTPRequest::FileInfo& file)
{
    body.AddBytes(FieldLine(fieldName) + "; filename=\"" + QuotableName(file.fileName) + '"' + kLineEnd +
                  "Content-Transfer-Encoding: binary\r\n" + CheckedLine(TString(u"Content-Type: ") + file.mimeType) +
                  kLineEnd);
    body.AddStream(file.content, 0, std::numeric_limits<std::uint64_t>::max());
    body.AddBytes(kLineEnd);
}

void AddBatchPart(RequestBody& body, const HTTPRequest::BatchPart& part)
{
    const std::string json = part.json.ToUTF8();
    body.AddBytes(std::string("Content-Type: application/http\r\n\r\n") +
                  CheckedLine(TFormatString(u"%1 %2 HTTP/1.1").arg(part.verb).arg(part.path).result()) +
                  "Content-Type: application/json\r\n" +
                  CheckedLine(TFormatString(u"Content-Length: %1").arg(json.size()).result()) + kLineEnd + json +
                  kLineEnd);
}

void AddMultipart(RequestBody& body, const HTTPRequest::RequestInfo& info, const TString& boundary)
{
    CheckHasNoControlCharacters(boundary);
    const std::string separator = "--" + boundary.ToUTF8();
    const std::string beginOfPart = separator + kLineEnd;
    const std::map<TString, TString> parameters(info.GetParameters().begin(), info.GetParameters().end());
    for (const auto& [name, value] : parameters)
        body.AddBytes(beginOfPart + FieldLine(name) + kLineEnd + kLineEnd + value.ToUTF8() + kLineEnd);
    for (const auto& [name, file] : info.GetFiles())
    {
        body.AddBytes(beginOfPart);
        AddFile(body, name, file);
    }
    if (info.GetBatchPart())
    {
        body.AddBytes(beginOfPart);
        AddBatchPart(body, *info.GetBatchPart());
    }
    body.AddBytes(separator + "--\r\n");
}

}   // namespace

void RequestBody::AddBytes(std::string bytes)
{
    if (bytes.empty())
        return;
    const std::uint64_t begin = GetLength();
    const std::uint64_t length = bytes.size();
    m_pieces.push_back({std::move(bytes), {}, nullptr, 0, length, begin});
}

void RequestBody::AddBorrowedBytes(std::string_view bytes)
{
    if (!bytes.empty())
        m_pieces.push_back({{}, bytes, nullptr, 0, bytes.size(), GetLength()});
}

void RequestBody::AddStream(std::shared_ptr<TRandomIO> stream, std::uint64_t offset, std::uint64_t length)
{
    BRV_LOGIC_ASSERT(0x0D33F4E6, stream != nullptr);
    const std::uint64_t size = stream->GetSize();
    const std::uint64_t slice = offset < size ? std::min(length, size - offset) : 0;
    const std::uint64_t begin = GetLength();
    if (slice > 0)
        m_pieces.push_back({{}, {}, std::move(stream), offset, slice, begin});
}

std::uint64_t RequestBody::GetLength() const
{
    return m_pieces.empty() ? 0 : m_pieces.back().begin + m_pieces.back().length;
}

std::size_t RequestBody::Read(char* buffer, std::size_t size)
{
    auto piece = std::upper_bound(m_pieces.begin(), m_pieces.end(), m_position,
        [](std::uint64_t position, const Piece& p) { return position < p.begin + p.length; });
    std::size_t done = 0;
    for (; done < size && piece != m_pieces.end(); ++piece)
    {
        const std::size_t count = ReadPiece(*piece, m_position - piece->begin, buffer + done, size - done);
        done += count;
        m_position += count;
    }
    return done;
}

std::size_t RequestBody::ReadPiece(const Piece& piece, std::uint64_t from, char* buffer, std::size_t size) const
{
    const auto wanted = static_cast<std::size_t>(std::min<std::uint64_t>(size, piece.length - from));
    if (piece.stream == nullptr)
    {
        const std::string_view bytes = piece.bytes.empty() ? piece.borrowed : std::string_view(piece.bytes);
        std::memcpy(buffer, bytes.data() + from, wanted);
        return wanted;
    }
    piece.stream->SetPosition(piece.offset + from);   // others may read the same stream
    for (std::size_t done = 0; done < wanted;)
    {
        const std::size_t count = piece.stream->Read(buffer + done, wanted - done);
        if (count == 0)
            throw NetworkException(TError::ErrorInfo(
                BrevionError::MakeError(kStreamCutShort, u"A file became shorter while it was being sent.")));
        done += count;
    }
    return wanted;
}

void RequestBody::SetPosition(std::uint64_t position)
{
    m_position = position;
}

std::uint64_t RequestBody::WriteTo(TIO& out, IProgressReporter* progress)
{
    const std::uint64_t length = GetLength();
    CancellationChecker cancellation(1);
    std::vector<char> buffer(static_cast<std::size_t>(std::min<std::uint64_t>(length, kCopyPiece)));
    SetPosition(0);
    while (const std::size_t count = Read(buffer.data(), buffer.size()))
    {
        out.Write(buffer.data(), count);
        if (progress != nullptr)
            progress->ReportProgress(static_cast<double>(m_position) / static_cast<double>(length), {});
        cancellation.ThrowIfCancelled();
    }
    return length;
}

bool IsBodyVerb(const TString& verb) noexcept
{
    return verb == u"POST" || verb == u"PUT";
}

TString AppendQuery(const TString& url, const std::unordered_map<TString, TString>& parameters)
{
    if (parameters.empty())
        return url;
    const std::size_t fragment = std::min(url.Find(u"#"), url.Length());
    const TString target = url.Mid(0, fragment);
    const bool isFirst = !target.Contains(u"?");
    const bool isOpen = target.EndsWith(u"?") || target.EndsWith(u"&");
    return target +
           (isFirst     ? u"?"
               : isOpen ? u""
                        : u"&") +
           HTTPRequest::URLFormatParams(parameters) + url.Mid(fragment);
}

bool IsMultipartRequest(const HTTPRequest::RequestInfo& info)
{
    return !info.GetFiles().empty() || info.GetBatchPart();
}

std::unique_ptr<RequestBody> MakeRequestBody(
    const HTTPRequest::RequestInfo& info, const TString& verb, const TString& boundary)
{
    if (!IsBodyVerb(verb))
        return nullptr;
    auto body = std::make_unique<RequestBody>();
    if (IsMultipartRequest(info))
        AddMultipart(*body, info, boundary);
    else if (!info.GetParameters().empty())
        body->AddBytes(HTTPRequest::URLFormatParams(info.GetParameters()).ToUTF8());
    else if (info.GetRequestBytes())
        body->AddBorrowedBytes(*info.GetRequestBytes());
    else if (const auto& chunk = info.GetRequestChunk())
        body->AddStream(chunk->content, chunk->offset, chunk->length);
    else
        return nullptr;
    return body;
}
