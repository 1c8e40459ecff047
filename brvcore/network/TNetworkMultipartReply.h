#pragma once

#include "brvcore/foundation/BrvExport.h"
#include "brvcore/foundation/TString.h"
#include "brvcore/network/IBufferSource.h"
#include "brvcore/network/MultipartSubpartHeader.h"

#include <cstddef>
#include <cstdint>
#include <exception>
#include <memory>
#include <string>
#include <string_view>

class MultipartBoundary;
class MultipartResponsePart;

// The bytes of a multipart reply make no sense, or end too early although the transfer did not fail. what() is the
// message in UTF-8. Copying shares the state and cannot throw.
class BRV_EXPORT TNetworkMultipartException : public std::exception
{
public:
    TNetworkMultipartException(const TString& message, std::string buffer);

    const char* what() const noexcept override;
    // The bytes that could not be parsed, as far as they were received and kept.
    const std::string& GetBuffer() const noexcept;

private:
    struct State;
    std::shared_ptr<const State> m_state;
};

// Reads a multipart reply (RFC 2046, section 5.1) while it streams in, part by part.
//
//     BulkHTTPRequestor requestor(u"https://example.org/parts", u"GET");
//     TNetworkMultipartReply reply(requestor);
//     while (reply.ConstructNextPart())
//         while (const std::size_t count = reply.ReadFromPart(buffer, sizeof buffer))
//             Use(reply.GetPartHeaders(), buffer, count);
//
// The boundary is taken from the body's first line. Text before it other than blank lines is refused; bytes after the
// final boundary are ignored and not waited for. The data between two boundaries is what is read, never decoded; how
// the network cut the bytes makes no difference. Of the line end before a boundary only the line feed is taken away: in
// a reply with CR LF line ends each part's data ends with a CR. The boundary's text ends a part wherever it stands, not
// only at the start of a line: a server must choose a text that occurs in no part.
//
// Every call may wait for the transfer, which happens only when the bytes at hand do not suffice, and then throws what
// the transfer failed with, or TNetworkMultipartException when it ended too early; so does each call after that.
// Nothing waits for ever after the end of a transfer. One thread, the source's consumer. Memory is the temporary buffer
// and one buffer of the source; work is linear in the bytes received (a source that delivers fewer bytes at a time than
// the boundary has costs up to one more look at a boundary's length per delivery).
class BRV_EXPORT TNetworkMultipartReply
{
public:
    static constexpr std::size_t kDefaultCapacity = 64 * 1024;

    // The source outlives the reply, which alone reads from it. The temporary buffer holds at least `leastCapacity`
    // bytes, and one buffer of the source with a final boundary. The first line, and each header line, has to fit in
    // it.
    explicit TNetworkMultipartReply(IBufferSource& source, std::size_t leastCapacity = kDefaultCapacity);
    ~TNetworkMultipartReply();
    TNetworkMultipartReply(const TNetworkMultipartReply&) = delete;
    TNetworkMultipartReply& operator=(const TNetworkMultipartReply&) = delete;

    // Reads up to the first boundary line unless that was done, and returns the part boundary, which lives as long as
    // the reply. ConstructNextPart() does it by itself. Throws TNetworkMultipartException "Couldn't find initial
    // boundary. MultipartReply cannot be parsed." with the bytes received when the first line that is not blank is
    // none, is too long for the temporary buffer or has no end.
    std::string_view ParseBoundary();

    // Goes to the next part, past what was not read of this one, and reads its headers. False after the last part,
    // which then stays the current one. Throws TNetworkMultipartException "Failed to start processing a part of a
    // multipart reply" when the transfer ended inside the headers, and then there is no current part; asked again it throws
    // with the bytes that are left. While it skips it throws what ReadFromPart() does.
    bool ConstructNextPart();
    // The data of the last part was read to its end, or skipped.
    bool IsDone() const noexcept;

    // Of the current part. Each throws LogicException 0x562CFF6D "isPartConstructed" while there is none.
    const HeaderBase::Headers& GetPartHeaders() const;
    // Empty without such a header; the case of the name does not matter.
    TString GetPartHeaderValue(const TString& name) const;
    MultipartSubpartHeader::ContentType GetPartContentType() const;   // of the header "context-type"
    MultipartSubpartHeader::ContentEncoding GetPartEncoding() const;
    // Copies at most `length` bytes of the data and returns their number: at least one, or 0 at the end of the part or
    // when `length` is 0. Does not wait for more when there are some. Throws TNetworkMultipartException "The transfer ended
    // inside a part of a multipart reply" when it did, after the data that is data for certain.
    std::size_t ReadFromPart(char* buffer, std::size_t length);
    // True at the latest when ReadFromPart() returned 0 for the end of the part.
    bool PartDataTransferComplete() const;

    // Bytes that the source delivered, and bytes that were read, parsed or skipped.
    std::uint64_t GetBytesReceived() const noexcept { return m_bytesReceived; }
    std::uint64_t GetBytesConsumed() const noexcept { return m_bytesConsumed; }

private:
    friend class MultipartResponsePart;

    MultipartResponsePart& GetPart() const;

    // Bytes received and not yet consumed, at the front of the stream. Valid until FetchMore().
    std::string_view GetPending() const noexcept { return std::string_view(m_temp).substr(m_tempBegin); }
    std::size_t GetCapacity() const noexcept { return m_capacity; }
    // Adds to the pending bytes, for which the temporary buffer must have room. False at the end of the transfer.
    bool FetchMore();
    bool ReceiveBuffer();
    void UpdateProgress(std::size_t bytes);

    IBufferSource& m_source;
    std::size_t m_capacity;
    std::string m_temp;   // pending bytes from m_tempBegin on
    std::size_t m_tempBegin = 0;
    std::string
        m_received;   // one buffer of the source: what the temporary buffer has not taken from m_receivedBegin on
    std::size_t m_receivedBegin = 0;
    bool m_isAtEnd = false;
    std::exception_ptr m_failure;   // of the transfer
    std::uint64_t m_bytesReceived = 0;
    std::uint64_t m_bytesConsumed = 0;

    std::unique_ptr<MultipartBoundary> m_boundary;   // once the first line was read
    std::unique_ptr<MultipartResponsePart> m_part;
};
