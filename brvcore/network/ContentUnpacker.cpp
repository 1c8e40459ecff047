#include "brvcore/network/ContentUnpacker.h"

#include "brvcore/network/CurlErrors.h"

#include <algorithm>
#include <array>
#include <new>

#include <zlib.h>

namespace
{

constexpr int kGzip = 16 + MAX_WBITS;   // zlib's window size argument also says which header to expect
constexpr int kZlib = MAX_WBITS;
constexpr int kRaw = -MAX_WBITS;
constexpr char kGzipMagic = '\x1f';

[[noreturn]] void ThrowBadEncoding(const TString& reason)
{
    throw MakeCurlException(CURLE_BAD_CONTENT_ENCODING, reason);
}

// A zlib header begins with method 8 and a window of at most 32 KiB. As the first byte of a raw stream that would be a
// stored block with garbage in its padding.
bool IsZlibHeader(char first) noexcept
{
    return (first & 0x0F) == Z_DEFLATED && (static_cast<unsigned char>(first) >> 4) <= 7;
}

}   // namespace

struct ContentUnpacker::State
{
    Format format;
    z_stream stream{};
    bool isOpen = false;
    bool isAtEnd = false;
    std::array<char, std::size_t{64} << 10> unpacked;

    explicit State(Format bodyFormat) : format(bodyFormat) {}
    ~State()
    {
        if (isOpen)
            inflateEnd(&stream);
    }
    State(const State&) = delete;
    State& operator=(const State&) = delete;

    char First() const noexcept { return static_cast<char>(*stream.next_in); }

    void Open()
    {
        const int deflate = IsZlibHeader(First()) ? kZlib : kRaw;
        if (inflateInit2(&stream, format == Format::Gzip ? kGzip : deflate) != Z_OK)
            throw std::bad_alloc();
        isOpen = true;
    }

    // Behind the end: another gzip member, or zeros that pad to a block.
    void GoBeyondEnd()
    {
        while (stream.avail_in != 0 && First() == '\0')
        {
            ++stream.next_in;
            --stream.avail_in;
        }
        if (stream.avail_in == 0)
            return;
        if (format != Format::Gzip || First() != kGzipMagic)
            ThrowBadEncoding(u"bytes behind the end of a compressed body");
        inflateReset(&stream);
        isAtEnd = false;
    }
};

std::optional<ContentUnpacker::Format> ContentUnpacker::ParseEncoding(const TString& contentEncoding)
{
    std::optional<Format> format;
    for (const TString& piece : contentEncoding.ToLower().Split(u","))
    {
        const TString name = piece.Trimmed();
        if (name.IsEmpty() || name == u"identity")
            continue;
        const bool isGzip = name == u"gzip" || name == u"x-gzip";
        if (format || !(isGzip || name == u"deflate"))
            ThrowBadEncoding(u"content encoding '" + contentEncoding.Mid(0, 80) + u"'");
        format = isGzip ? Format::Gzip : Format::Deflate;
    }
    return format;
}

ContentUnpacker::ContentUnpacker(Format format) : m_state(std::make_unique<State>(format)) {}

ContentUnpacker::~ContentUnpacker() = default;

void ContentUnpacker::Push(std::string_view packed)
{
    // zlib does not write through next_in, it only declares so. libcurl's pieces are far below 4 GiB.
    m_state->stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(packed.data()));
    m_state->stream.avail_in = static_cast<uInt>(packed.size());
}

std::string_view ContentUnpacker::Next()
{
    State& s = *m_state;
    while (true)
    {
        if (s.isAtEnd)
            s.GoBeyondEnd();
        if (!s.isOpen && s.stream.avail_in != 0)
            s.Open();
        if (!s.isOpen || s.isAtEnd)
            return {};
        s.stream.next_out = reinterpret_cast<Bytef*>(s.unpacked.data());
        s.stream.avail_out = static_cast<uInt>(s.unpacked.size());
        const int result = inflate(&s.stream, Z_NO_FLUSH);
        s.isAtEnd = result == Z_STREAM_END;
        if (result == Z_MEM_ERROR)
            throw std::bad_alloc();
        if (result != Z_OK && result != Z_STREAM_END && result != Z_BUF_ERROR)   // the last: more input is needed
            ThrowBadEncoding(s.stream.msg != nullptr ? TString::FromUTF8(s.stream.msg) : TString(u"damaged data"));
        const std::size_t size = s.unpacked.size() - s.stream.avail_out;
        if (size != 0 || !s.isAtEnd || s.stream.avail_in == 0)
            return {s.unpacked.data(), size};
        // Else an empty member before another one.
    }
}

bool ContentUnpacker::IsAtEnd() const noexcept
{
    return m_state->isAtEnd;
}
