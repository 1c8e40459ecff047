#pragma once

#include "brvcore/foundation/TString.h"

#include <cstddef>
#include <memory>
#include <optional>
#include <string_view>

// Unpacks a compressed body piece by piece, and knows whether it has come to its end: libcurl's own unpacking does not
// tell half a body from a whole one. One object serves one body.
class ContentUnpacker
{
public:
    enum class Format
    {
        Gzip,
        Deflate,   // with the zlib header, as RFC 9110 has it, or without, as some servers do
    };

    // The format that a Content-Encoding names; none for a body that is not packed ("", "identity"). Throws CurlException
    // with CURLE_BAD_CONTENT_ENCODING for an unknown one, and for one packed twice.
    static std::optional<Format> ParseEncoding(const TString& contentEncoding);

    explicit ContentUnpacker(Format format);
    ~ContentUnpacker();
    ContentUnpacker(const ContentUnpacker&) = delete;
    ContentUnpacker& operator=(const ContentUnpacker&) = delete;

    // Takes the next packed bytes, which stay in place until Next() has returned nothing.
    void Push(std::string_view packed);
    // The next unpacked bytes, valid until the next call; empty when more packed ones are needed. Throws CurlException with
    // CURLE_BAD_CONTENT_ENCODING for damaged bytes and for bytes behind the end, zeros excepted.
    std::string_view Next();

    bool IsAtEnd() const noexcept;   // nothing is missing

private:
    struct State;
    std::unique_ptr<State> m_state;
};
