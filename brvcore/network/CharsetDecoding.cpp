#include "brvcore/network/CharsetDecoding.h"

#include "brvcore/network/HeaderText.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <memory>
#include <string>
#include <utility>

#include <unicode/ucnv.h>
#include <unicode/ucnv_cb.h>
#include <unicode/ucnv_err.h>
#include <unicode/utf16.h>

namespace
{

constexpr char16_t kByteOrderMark = u'\uFEFF';
constexpr char16_t kReplacement = u'\uFFFD';
constexpr std::ptrdiff_t kMaxPiece = std::ptrdiff_t{1} << 30;   // bytes; a converter takes no more than 2 GiB at once

struct CloseConverter
{
    void operator()(UConverter* converter) const noexcept { ucnv_close(converter); }
};
using Converter = std::unique_ptr<UConverter, CloseConverter>;

// U+FFFD for bytes without a meaning. The library's own callback writes a control character for some of them.
void WriteReplacement(const void* /*context*/, UConverterToUnicodeArgs* arguments, const char* /*codeUnits*/,
    std::int32_t /*length*/, UConverterCallbackReason reason, UErrorCode* status)
{
    if (reason > UCNV_IRREGULAR)   // the converter is reset, closed or copied
        return;
    *status = U_ZERO_ERROR;
    ucnv_cbToUWriteUChars(arguments, &kReplacement, 1, 0, status);
}

// Null for a name that the library does not know. Only names of its table: others it would look for among files.
Converter OpenConverter(const char* name)
{
    UErrorCode status = U_ZERO_ERROR;
    if (ucnv_countAliases(name, &status) == 0 || U_FAILURE(status))
        return nullptr;
    Converter converter(ucnv_open(name, &status));
    if (converter)
        ucnv_setToUCallBack(converter.get(), WriteReplacement, nullptr, nullptr, nullptr, &status);
    return U_FAILURE(status) ? nullptr : std::move(converter);
}

bool IsUTF8(const UConverter& converter)
{
    return ucnv_getType(&converter) == UCNV_UTF8;
}

TString DecodeUTF8(std::string_view bytes)
{
    constexpr std::string_view kMark = "\xEF\xBB\xBF";
    if (bytes.starts_with(kMark))
        bytes.remove_prefix(kMark.size());
    return TString::FromUTF8(bytes);
}

// Some converters (UTF-7) let halves of pairs through. In a TString they would stand for bytes.
void ReplaceLoneSurrogates(std::u16string& text)
{
    for (std::size_t i = 0; i < text.size(); ++i)
    {
        if (!U16_IS_SURROGATE(text[i]))
            continue;
        if (U16_IS_LEAD(text[i]) && i + 1 < text.size() && U16_IS_TRAIL(text[i + 1]))
            ++i;
        else
            text[i] = kReplacement;
    }
}

TString Decode(std::string_view bytes, UConverter& converter)
{
    std::array<char16_t, 4096> units;
    std::u16string text;
    text.reserve(bytes.size());
    const char* source = bytes.data();
    const char* const end = source + bytes.size();
    UErrorCode status = U_ZERO_ERROR;
    do
    {
        const char* const pieceEnd = source + std::min(end - source, kMaxPiece);
        char16_t* target = units.data();
        status = U_ZERO_ERROR;
        ucnv_toUnicode(
            &converter, &target, units.data() + units.size(), &source, pieceEnd, nullptr, pieceEnd == end, &status);
        text.append(units.data(), target);
    } while (status == U_BUFFER_OVERFLOW_ERROR || (U_SUCCESS(status) && source != end));
    ReplaceLoneSurrogates(text);
    std::u16string_view result = text;
    if (result.starts_with(kByteOrderMark))
        result.remove_prefix(1);
    return result;
}

// As the converter of that name says; as UTF-8 without one.
TString DecodeNamed(std::string_view bytes, const char* name)
{
    const Converter converter = OpenConverter(name);
    return converter && !IsUTF8(*converter) ? Decode(bytes, *converter) : DecodeUTF8(bytes);
}

// The longer mark goes first: that of UTF-16LE begins the one of UTF-32LE.
constexpr std::array<std::pair<std::string_view, const char*>, 4> kMarks = {{
    {{"\xFF\xFE\0\0", 4}, "UTF-32LE"},
    {{"\0\0\xFE\xFF", 4}, "UTF-32BE"},
    {{"\xFF\xFE", 2}, "UTF-16LE"},
    {{"\xFE\xFF", 2}, "UTF-16BE"},
}};

}   // namespace

TString DecodeHttpStringResponse(std::string_view bytes, const TString& charset)
{
    return DecodeNamed(bytes, charset.ToUTF8().c_str());
}

TString DecodeHttpUTFStringResponse(std::string_view bytes, const TString& charset)
{
    for (const auto& [mark, name] : kMarks)
        if (bytes.starts_with(mark))
            return DecodeNamed(bytes, name);
    const bool isUTF = EqualIgnoringAsciiCase(charset.Mid(0, 3), u"utf");
    return isUTF && !bytes.starts_with("\xEF\xBB\xBF") ? DecodeHttpStringResponse(bytes, charset) : DecodeUTF8(bytes);
}
