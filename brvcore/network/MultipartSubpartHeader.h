#pragma once

#include "brvcore/foundation/BrvExport.h"
#include "brvcore/foundation/TString.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <string_view>

// Names and values of a header block, in the order of their names. Names are kept in lower case.
class BRV_EXPORT HeaderBase
{
public:
    using Headers = std::map<TString, TString>;

    const Headers& GetHeaders() const noexcept { return m_headers; }
    // The letters A-Z and a-z of the name are the same. Empty when there is no such header.
    TString GetHeaderValue(const TString& name) const;

protected:
    HeaderBase() = default;
    ~HeaderBase() = default;
    HeaderBase(const HeaderBase&) = default;
    HeaderBase& operator=(const HeaderBase&) = default;

    // The last of equal names wins. The name is in lower case already.
    void SetHeader(const TString& lowerCaseName, TString value);

private:
    Headers m_headers;
};

// The header block of one part of a multipart reply, fed line by line. Names and values are both kept in lower case: a
// value that depends on case (a file name, a boundary) cannot be had back. Only A-Z change; bytes that are not UTF-8 are
// kept as TString keeps them. A folded line is a line like any other.
class BRV_EXPORT MultipartSubpartHeader : public HeaderBase
{
public:
    enum class ContentType : std::uint32_t
    {
        None = 0,    // the block does not say
        Other = 1,   // something that is not in this list
        Text = 2,    // text/plain
        Html = 3,
        Xml = 4,   // text/xml, application/xml
        Csv = 5,
        Json = 6,
        Binary = 7,   // application/octet-stream
        Png = 8,
        Jpeg = 9,
        Svg = 10,
        Multipart = 11,   // any multipart/...
    };

    // How the data is coded (RFC 2045, section 6). Reading a part never decodes.
    enum class ContentEncoding : std::uint32_t
    {
        None = 0,
        Other = 1,
        SevenBit = 2,
        EightBit = 3,
        Binary = 4,
        QuotedPrintable = 5,
        Base64 = 6,
    };

    enum class Line
    {
        Header,    // added
        Ignored,   // without ":"
        End,       // the blank line that ends the block
    };

    // One line with its line feed. What is left of the first ":" is the name, as it stands but for its case; the rest,
    // without white space at its ends, is the value.
    Line AddLine(std::string_view line);
    // Counts bytes of the block that are not kept.
    void CountSkipped(std::size_t bytes) noexcept { m_size += bytes; }

    // Of the header "context-type", spelled so. WARNING: usual servers never send that one, so this is None for their parts;
    // the header they do send is reached by GetHeaderValue(u"content-type"). Parameters after ";" do not matter.
    ContentType GetContentType() const noexcept { return m_contentType; }
    // Of the header "content-transfer-encoding".
    ContentEncoding GetContentEncoding() const noexcept { return m_contentEncoding; }
    // Bytes of the block so far, ignored lines and the blank line at its end included.
    std::size_t GetHeaderSize() const noexcept { return m_size; }

private:
    ContentType m_contentType = ContentType::None;
    ContentEncoding m_contentEncoding = ContentEncoding::None;
    std::size_t m_size = 0;
};
