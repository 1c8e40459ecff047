#include "brvcore/network/MultipartSubpartHeader.h"

#include <algorithm>
#include <string>
#include <type_traits>
#include <utility>

namespace
{

constexpr std::u16string_view kContentTypeHeader = u"context-type";
constexpr std::u16string_view kContentEncodingHeader = u"content-transfer-encoding";

template <class Value> struct Name
{
    std::u16string_view text;
    Value value;
};

using Type = MultipartSubpartHeader::ContentType;
constexpr Name<Type> kContentTypes[] = {
    {u"text/plain", Type::Text},
    {u"text/html", Type::Html},
    {u"text/xml", Type::Xml},
    {u"application/xml", Type::Xml},
    {u"text/csv", Type::Csv},
    {u"application/json", Type::Json},
    {u"application/octet-stream", Type::Binary},
    {u"image/png", Type::Png},
    {u"image/jpeg", Type::Jpeg},
    {u"image/svg+xml", Type::Svg},
};

using Encoding = MultipartSubpartHeader::ContentEncoding;
constexpr Name<Encoding> kContentEncodings[] = {
    {u"7bit", Encoding::SevenBit},
    {u"8bit", Encoding::EightBit},
    {u"binary", Encoding::Binary},
    {u"quoted-printable", Encoding::QuotedPrintable},
    {u"base64", Encoding::Base64},
};

template <class Value, std::size_t n> Value Find(const Name<Value> (&names)[n], std::u16string_view text)
{
    const auto* const found = std::ranges::find(names, text, &Name<Value>::text);
    return found == std::end(names) ? Value::Other : found->value;
}

Type ParseContentType(const TString& value)
{
    if (value.IsEmpty())
        return Type::None;
    const TString media = value.Mid(0, value.Find(u";")).Trimmed();
    return media.StartsWith(u"multipart/") ? Type::Multipart : Find(kContentTypes, media);
}

Encoding ParseContentEncoding(const TString& value)
{
    return value.IsEmpty() ? Encoding::None : Find(kContentEncodings, value);
}

// Headers are ASCII: the user's language must not change "I", and other bytes are not ours to change.
template <class Text> Text LowerCase(Text text)
{
    std::ranges::for_each(text,
        [](auto& unit)
        {
            if (unit >= 'A' && unit <= 'Z')
                unit = static_cast<std::remove_reference_t<decltype(unit)>>(unit + ('a' - 'A'));
        });
    return text;
}

TString LowerCaseText(std::string_view bytes)
{
    return TString::FromUTF8(LowerCase(std::string(bytes)));
}

std::string_view Trim(std::string_view text)
{
    constexpr std::string_view kWhiteSpace = " \t\r\n\v\f";
    const std::size_t first = text.find_first_not_of(kWhiteSpace);
    return first == std::string_view::npos ? std::string_view()
                                           : text.substr(first, text.find_last_not_of(kWhiteSpace) + 1 - first);
}

}   // namespace

TString HeaderBase::GetHeaderValue(const TString& name) const
{
    const auto found = m_headers.find(LowerCase(std::u16string(name.View())));
    return found == m_headers.end() ? TString() : found->second;
}

void HeaderBase::SetHeader(const TString& lowerCaseName, TString value)
{
    m_headers.insert_or_assign(lowerCaseName, std::move(value));
}

MultipartSubpartHeader::Line MultipartSubpartHeader::AddLine(std::string_view line)
{
    m_size += line.size();
    if (line == "\r\n" || line == "\n")
        return Line::End;
    const std::size_t colon = line.find(':');
    if (colon == std::string_view::npos)
        return Line::Ignored;
    const TString name = LowerCaseText(line.substr(0, colon));
    const TString value = LowerCaseText(Trim(line.substr(colon + 1)));
    if (name == kContentTypeHeader)
        m_contentType = ParseContentType(value);
    else if (name == kContentEncodingHeader)
        m_contentEncoding = ParseContentEncoding(value);
    SetHeader(name, value);
    return Line::Header;
}
