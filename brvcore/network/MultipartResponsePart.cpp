#include "brvcore/network/MultipartResponsePart.h"

#include "brvcore/foundation/LogMessage.h"
#include "brvcore/foundation/LogicException.h"
#include "brvcore/network/MultipartBoundary.h"

#include <algorithm>
#include <cstring>
#include <string>

namespace
{

// What is searched at a time is still in the cache when it is copied.
constexpr std::size_t kSearchBlock = 64 * 1024;

}   // namespace

MultipartResponsePart::MultipartResponsePart(TNetworkMultipartReply& reply, const MultipartBoundary& boundary)
    : m_reply(reply), m_boundary(boundary)
{
    ProcessSubHeaders();
    while (m_state == State::ReadingHeaders)
    {
        if (!m_reply.FetchMore())
            throw TNetworkMultipartException(
                u"Failed to start processing a part of a multipart reply", std::string(m_reply.GetPending()));
        ProcessSubHeaders();
    }
}

// Reads the lines at hand; the last one may be incomplete.
void MultipartResponsePart::ProcessSubHeaders()
{
    while (m_state == State::ReadingHeaders)
    {
        const std::string_view pending = m_reply.GetPending();
        const std::size_t lineFeed = pending.find('\n', m_lineSearched);
        if (lineFeed != std::string_view::npos)
        {
            ProcessHeaderLine(pending.substr(0, lineFeed + 1));
            continue;
        }
        m_lineSearched = pending.size();
        if (pending.size() < m_reply.GetCapacity())
            return;
        // The line cannot be held: its bytes go, and the rest of it when that comes.
        m_header.CountSkipped(pending.size());
        m_reply.UpdateProgress(pending.size());
        m_lineSearched = 0;
        m_isInLongLine = true;
    }
}

void MultipartResponsePart::ProcessHeaderLine(std::string_view line)
{
    const bool isBlank = line == "\n" || line == "\r\n";
    const bool isKept = !m_isInLongLine && (isBlank || m_header.GetHeaderSize() + line.size() <= m_reply.GetCapacity());
    if (!isKept)
        m_header.CountSkipped(line.size());
    const auto kind = isKept ? m_header.AddLine(line) : MultipartSubpartHeader::Line::Ignored;
    if (kind == MultipartSubpartHeader::Line::End)
        m_state = State::ReadingData;
    else if (kind == MultipartSubpartHeader::Line::Ignored &&
             line.find_first_not_of(" \t\r\n") != std::string_view::npos)
        LogSkippedLine();   // blanks alone are the padding behind a boundary
    m_reply.UpdateProgress(line.size());
    m_lineSearched = 0;
    m_isInLongLine = false;
}

// Without its text, which may be a secret.
void MultipartResponsePart::LogSkippedLine()
{
    if (!m_hasLogged)
        LogMessage(LogSeverity::Warning, u"MultipartResponsePart::ProcessSubHeaders: skipping a header line without "
                                         u"\":\" or beyond the largest block");
    m_hasLogged = true;
}

std::size_t MultipartResponsePart::Read(char* buffer, std::size_t length)
{
    if (length == 0)
        return 0;
    MakeDataReady();
    const std::size_t copied = std::min(length, m_ready);
    CopyDataFromTemp(buffer, copied);
    return copied;
}

void MultipartResponsePart::Skip()
{
    while (!DataTransferComplete())
    {
        MakeDataReady();
        Consume(m_ready);
    }
}

// Waits until there is data to hand out or the part's end is known.
void MultipartResponsePart::MakeDataReady()
{
    while (m_ready == 0 && !IsEndKnown())
    {
        if (m_needsMore && !m_reply.FetchMore())
            throw TNetworkMultipartException(
                u"The transfer ended inside a part of a multipart reply", std::string(m_reply.GetPending()));
        m_needsMore = !SearchPending();
    }
}

// False when only more data can decide what the last pending bytes are.
bool MultipartResponsePart::SearchPending()
{
    const std::string_view pending = m_reply.GetPending();
    std::size_t offset = 0;
    const BoundaryType type = m_boundary.SearchBufferForBoundary(
        pending.data() + m_searched, pending.data() + pending.size(), kSearchBlock, offset);
    m_searched += offset;
    m_ready = m_searched;
    if (type == BoundaryType::Boundary || type == BoundaryType::FinalBoundary)
    {
        m_boundary.DealWithExtraEndLines(pending, type, m_ready, m_next);
        m_end = type;
        return true;
    }
    // A line feed belongs to the boundary that may follow it.
    if (m_ready > 0 && pending[m_ready - 1] == '\n')
        --m_ready;
    return type == BoundaryType::None && m_searched < pending.size();
}

void MultipartResponsePart::CopyDataFromTemp(char* buffer, std::size_t copied)
{
    const std::size_t dataBeforeBoundary = m_ready;
    BRV_LOGIC_ASSERT(0x7C154A32, copied <= dataBeforeBoundary);
    if (copied > 0)
        std::memcpy(buffer, m_reply.GetPending().data(), copied);
    Consume(copied);
}

void MultipartResponsePart::Consume(std::size_t bytes)
{
    m_reply.UpdateProgress(bytes);
    m_ready -= bytes;
    m_searched -= bytes;
    if (IsEndKnown())
        m_next -= bytes;
}
