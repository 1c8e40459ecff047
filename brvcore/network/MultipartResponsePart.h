#pragma once

#include "brvcore/foundation/BrvExport.h"
#include "brvcore/network/MultipartSubpartHeader.h"
#include "brvcore/network/TNetworkMultipartReply.h"

#include <cstddef>
#include <cstdint>
#include <string_view>

class MultipartBoundary;

// One part of a multipart reply: its headers, then its data up to the next boundary. The reply makes its parts and feeds
// them; a caller speaks to the reply.
class BRV_EXPORT MultipartResponsePart
{
public:
    enum class BoundaryType : std::uint32_t
    {
        None = 0,
        Incomplete = 1,      // a boundary may begin in the last bytes of the data
        Boundary = 2,        // another part follows
        FinalBoundary = 3,   // the last part ends
    };

    enum class State : std::uint32_t
    {
        ReadingHeaders = 2,
        ReadingData = 3,
    };

    // Waits for the whole header block. Both arguments outlive the part. Throws what the transfer failed with, or
    // TNetworkMultipartException "Failed to start processing a part of a multipart reply" when it ended before the blank
    // line. Header lines without ":", and those beyond a block as large as the temporary buffer, are skipped with a
    // log line; blanks behind a boundary without one.
    MultipartResponsePart(TNetworkMultipartReply& reply, const MultipartBoundary& boundary);

    MultipartResponsePart(const MultipartResponsePart&) = delete;
    MultipartResponsePart& operator=(const MultipartResponsePart&) = delete;

    const MultipartSubpartHeader& GetHeader() const noexcept { return m_header; }

    // The next bytes of the data, at least one unless the part is complete or `length` is 0. See ReadFromPart().
    std::size_t Read(char* buffer, std::size_t length);
    // Drops the data that was not read.
    void Skip();
    // The data was read to its end and the boundary after it was seen.
    bool DataTransferComplete() const noexcept { return IsEndKnown() && m_ready == 0; }
    // The boundary that ends the part: None until its place is known.
    BoundaryType GetEnd() const noexcept { return m_end; }
    // From the first pending byte to what follows the boundary. Of a part that is complete.
    std::size_t GetDistanceToNext() const noexcept { return m_next; }

private:
    bool IsEndKnown() const noexcept { return m_end != BoundaryType::None; }
    void ProcessSubHeaders();
    void ProcessHeaderLine(std::string_view line);
    void LogSkippedLine();
    void MakeDataReady();
    bool SearchPending();
    void CopyDataFromTemp(char* buffer, std::size_t copied);
    void Consume(std::size_t bytes);

    TNetworkMultipartReply& m_reply;
    const MultipartBoundary& m_boundary;
    MultipartSubpartHeader m_header;
    State m_state = State::ReadingHeaders;

    // Header block.
    std::size_t m_lineSearched = 0;   // pending bytes without a line feed
    bool m_isInLongLine = false;      // the line that the pending bytes continue is being skipped
    bool m_hasLogged = false;         // one log line per part, however many lines are bad

    // Data. Positions count from the first pending byte.
    std::size_t m_ready = 0;      // bytes that are data for certain
    std::size_t m_searched = 0;   // bytes in which no boundary begins; m_ready, and a line feed that is held back
    bool m_needsMore = false;     // the bytes after m_searched do not suffice for a decision
    BoundaryType m_end = BoundaryType::None;
    std::size_t m_next = 0;   // where what follows the boundary begins
};
