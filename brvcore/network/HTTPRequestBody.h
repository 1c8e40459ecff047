#pragma once

#include "brvcore/foundation/TString.h"
#include "brvcore/network/HTTPRequest.h"
#include "brvcore/network/TNetworkRequest.h"

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

class IProgressReporter;
class TIO;

// The body of a request as a row of pieces, bytes of its own and slices of shared streams, so that files are read while
// they are sent. Reads from any position any number of times. Throws NetworkException, and what the streams throw.
class RequestBody final : public IUploadSource
{
public:
    void AddBytes(std::string bytes);
    // Bytes that stay where they are and outlive the body.
    void AddBorrowedBytes(std::string_view bytes);
    // The slice is clamped to the stream's end as it is now; a stream that is shorter when it is read throws
    // NetworkException instead of sending less than announced. Throws LogicException 0x0D33F4E6 "stream != nullptr".
    void AddStream(std::shared_ptr<TRandomIO> stream, std::uint64_t offset, std::uint64_t length);

    std::uint64_t GetLength() const override;
    std::size_t Read(char* buffer, std::size_t size) override;
    void SetPosition(std::uint64_t position) override;

    // Writes the whole body, piece by piece, telling `progress` (may be null) of each and polling the calling thread's
    // cancellation. Returns the length.
    std::uint64_t WriteTo(TIO& out, IProgressReporter* progress);

private:
    // Bytes of its own, or a slice of a stream; never empty.
    struct Piece
    {
        std::string bytes;
        std::string_view borrowed;           // in their place
        std::shared_ptr<TRandomIO> stream;   // null for bytes
        std::uint64_t offset = 0;            // in the stream
        std::uint64_t length = 0;
        std::uint64_t begin = 0;   // in the body
    };

    std::size_t ReadPiece(const Piece& piece, std::uint64_t from, char* buffer, std::size_t size) const;

    std::vector<Piece> m_pieces;
    std::uint64_t m_position = 0;
};

// POST and PUT carry a body; other verbs carry their parameters in the query.
bool IsBodyVerb(const TString& verb) noexcept;

// The URL with the parameters at the end of its query, in front of a fragment; the URL as it is without parameters.
TString AppendQuery(const TString& url, const std::unordered_map<TString, TString>& parameters);

// True when the request's body has several parts: files or a batch part.
bool IsMultipartRequest(const HTTPRequest::RequestInfo& info);

// The body that a request of this verb sends: null for verbs other than POST and PUT, and when there is nothing to send.
// The raw body of `info` is read where it is: `info` must outlive the result. An empty one is a body all the same.
// Parameters and files stand in the order of their names. In names of fields and files '"', CR and LF become %22, %0D
// and %0A, as in browsers. Throws LogicException 0x8B31E5F6 "has no control characters" for the boundary, a MIME type, or the
// verb or path of a batch part that would break its line.
std::unique_ptr<RequestBody> MakeRequestBody(
    const HTTPRequest::RequestInfo& info, const TString& verb, const TString& boundary);
