#include "brvcore/network/TNetworkMultipartReply.h"

#include "brvcore/foundation/LogicException.h"
#include "brvcore/network/MultipartBoundary.h"
#include "brvcore/network/MultipartResponsePart.h"

#include <algorithm>
#include <optional>
#include <utility>

struct TNetworkMultipartException::State
{
    std::string message;
    std::string buffer;
};

TNetworkMultipartException::TNetworkMultipartException(const TString& message, std::string buffer)
    : m_state(std::make_shared<const State>(State{message.ToUTF8(), std::move(buffer)}))
{
}

const char* TNetworkMultipartException::what() const noexcept
{
    return m_state->message.c_str();
}

const std::string& TNetworkMultipartException::GetBuffer() const noexcept
{
    return m_state->buffer;
}

TNetworkMultipartReply::TNetworkMultipartReply(IBufferSource& source, std::size_t leastCapacity)
    : m_source(source), m_capacity(std::max({leastCapacity, source.GetBufferSize(), std::size_t{1}}))
{
}

TNetworkMultipartReply::~TNetworkMultipartReply() = default;

std::string_view TNetworkMultipartReply::ParseBoundary()
{
    if (m_boundary)
        return m_boundary->GetPartBoundary();

    // The first line that is not blank. Until it is accepted nothing is consumed but blank lines in the way.
    std::size_t lineBegin = 0;
    std::size_t searched = 0;
    std::optional<std::string> boundary;
    while (true)
    {
        const std::string_view pending = GetPending();
        const std::size_t lineFeed = pending.find('\n', searched);
        if (lineFeed != std::string_view::npos)
        {
            const std::string_view line = pending.substr(lineBegin, lineFeed + 1 - lineBegin);
            lineBegin = searched = lineFeed + 1;
            if (line == "\n" || line == "\r\n")
                continue;
            boundary = MultipartBoundary::ParseBoundary(line);
            break;
        }
        searched = pending.size();
        if (searched == m_capacity)
        {
            if (lineBegin == 0)
                break;
            UpdateProgress(lineBegin);
            searched -= std::exchange(lineBegin, 0);
        }
        if (!FetchMore())
            break;
    }
    if (!boundary)
        throw TNetworkMultipartException(
            u"Couldn't find initial boundary. MultipartReply cannot be parsed.", std::string(GetPending()));

    m_boundary = std::make_unique<MultipartBoundary>(*std::move(boundary));
    // Besides one buffer: an incomplete final boundary and the line feed before it.
    m_capacity = std::max(m_capacity, m_source.GetBufferSize() + m_boundary->GetFinalBoundary().size());
    UpdateProgress(lineBegin);
    return m_boundary->GetPartBoundary();
}

bool TNetworkMultipartReply::ConstructNextPart()
{
    ParseBoundary();
    if (m_part)
    {
        m_part->Skip();
        if (IsDone())
            return false;
        // The rest of the boundary's own line: with CR LF line ends the line feed was not right behind the text. A
        // decided part boundary has two bytes behind it, so nothing need be waited for.
        const std::size_t next = m_part->GetDistanceToNext();
        const std::string_view pending = GetPending();
        const bool endsInCrLf = pending[next - 1] != '\n' && pending.substr(next).starts_with("\r\n");
        m_part.reset();
        UpdateProgress(next + (endsInCrLf ? 2 : 0));
    }
    m_part = std::make_unique<MultipartResponsePart>(*this, *m_boundary);
    return true;
}

bool TNetworkMultipartReply::IsDone() const noexcept
{
    return m_part && m_part->DataTransferComplete() &&
           m_part->GetEnd() == MultipartResponsePart::BoundaryType::FinalBoundary;
}

bool TNetworkMultipartReply::FetchMore()
{
    if (m_receivedBegin == m_received.size() && !ReceiveBuffer())
        return false;
    if (m_tempBegin == m_temp.size())
    {
        m_temp.swap(m_received);
        m_tempBegin = std::exchange(m_receivedBegin, 0);
        m_received.clear();
        return true;
    }
    m_temp.erase(0, std::exchange(m_tempBegin, 0));
    BRV_LOGIC_ASSERT(0xAF07F81B, m_temp.size() < m_capacity);
    const std::size_t taken = std::min(m_capacity - m_temp.size(), m_received.size() - m_receivedBegin);
    m_temp.append(m_received, m_receivedBegin, taken);
    m_receivedBegin += taken;
    return true;
}

bool TNetworkMultipartReply::ReceiveBuffer()
{
    if (m_failure)
        std::rethrow_exception(m_failure);
    m_received.clear();
    m_receivedBegin = 0;
    if (m_isAtEnd)
        return false;
    try
    {
        m_isAtEnd = !m_source.GetNextBuffer(m_received);
        const std::size_t overflow = m_received.size();
        BRV_LOGIC_ASSERT(0x60A5BFEC, overflow <= m_capacity);
    }
    catch (...)
    {
        m_failure = std::current_exception();
        m_received.clear();
        throw;
    }
    if (m_isAtEnd)
        m_received.clear();
    m_bytesReceived += m_received.size();
    return !m_isAtEnd;
}

void TNetworkMultipartReply::UpdateProgress(std::size_t bytes)
{
    m_tempBegin += bytes;
    m_bytesConsumed += bytes;
}

MultipartResponsePart& TNetworkMultipartReply::GetPart() const
{
    const bool isPartConstructed = m_part != nullptr;
    BRV_LOGIC_ASSERT(0x562CFF6D, isPartConstructed);
    return *m_part;
}

const HeaderBase::Headers& TNetworkMultipartReply::GetPartHeaders() const
{
    return GetPart().GetHeader().GetHeaders();
}

TString TNetworkMultipartReply::GetPartHeaderValue(const TString& name) const
{
    return GetPart().GetHeader().GetHeaderValue(name);
}

MultipartSubpartHeader::ContentType TNetworkMultipartReply::GetPartContentType() const
{
    return GetPart().GetHeader().GetContentType();
}

MultipartSubpartHeader::ContentEncoding TNetworkMultipartReply::GetPartEncoding() const
{
    return GetPart().GetHeader().GetContentEncoding();
}

std::size_t TNetworkMultipartReply::ReadFromPart(char* buffer, std::size_t length)
{
    return GetPart().Read(buffer, length);
}

bool TNetworkMultipartReply::PartDataTransferComplete() const
{
    return GetPart().DataTransferComplete();
}
