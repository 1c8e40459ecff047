// Header blocks from any bytes: every byte is counted, names and values have the form that is promised, and what is kept
// for a name is what its last line says.

#include "brvcore/network/MultipartSubpartHeader.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

namespace
{

void Require(bool condition)
{
    if (!condition)
        std::abort();
}

bool IsWhiteSpace(char byte)
{
    return std::string_view(" \t\r\n\v\f").find(byte) != std::string_view::npos;
}

bool HasCapital(std::string_view text)
{
    return text.find_first_of("ABCDEFGHIJKLMNOPQRSTUVWXYZ") != std::string_view::npos;
}

void RequireForm(const HeaderBase::Headers& headers)
{
    for (const auto& [name, value] : headers)
    {
        const std::string key = name.ToUTF8();
        const std::string bytes = value.ToUTF8();
        Require(!HasCapital(key) && key.find(':') == std::string::npos);
        Require(!HasCapital(bytes) && bytes.find('\n') == std::string::npos);
        Require(bytes.empty() || (!IsWhiteSpace(bytes.front()) && !IsWhiteSpace(bytes.back())));
    }
}

}   // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    std::string_view rest(reinterpret_cast<const char*>(data), size);
    MultipartSubpartHeader header;
    std::size_t counted = 0;
    while (!rest.empty())
    {
        const std::string_view line = rest.substr(0, std::min(rest.find('\n'), rest.size() - 1) + 1);
        rest.remove_prefix(line.size());
        counted += line.size();
        const std::size_t before = header.GetHeaders().size();
        const MultipartSubpartHeader::Line kind = header.AddLine(line);
        Require(header.GetHeaderSize() == counted);
        Require((kind == MultipartSubpartHeader::Line::End) == (line == "\n" || line == "\r\n"));
        Require((kind == MultipartSubpartHeader::Line::Header) == (line.find(':') != std::string_view::npos));
        Require(header.GetHeaders().size() <= before + (kind == MultipartSubpartHeader::Line::Header ? 1 : 0));
        if (kind == MultipartSubpartHeader::Line::Header)
        {
            MultipartSubpartHeader alone;
            alone.AddLine(line);
            const auto& [name, value] = *alone.GetHeaders().begin();
            Require(header.GetHeaderValue(name) == value);
            const std::string given(line.substr(0, line.find(':')));
            Require(header.GetHeaderValue(TString::FromUTF8(given)) == value);
        }
        if (kind == MultipartSubpartHeader::Line::End)
            break;
    }
    RequireForm(header.GetHeaders());
    Require(header.GetHeaderValue(u"context-type").IsEmpty() ==
            (header.GetContentType() == MultipartSubpartHeader::ContentType::None));
    Require(header.GetHeaderValue(u"content-transfer-encoding").IsEmpty() ==
            (header.GetContentEncoding() == MultipartSubpartHeader::ContentEncoding::None));
    return 0;
}
