#include "brvcore/network/CharsetDecoding.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

namespace
{

// Sets of every kind: single bytes, several bytes, with state, with marks.
constexpr std::array kCharsets = {u"windows-1252", u"Shift_JIS", u"EUC-KR", u"Big5", u"GB18030", u"ISO-2022-JP",
    u"HZ-GB-2312", u"UTF-7", u"UTF-16", u"UTF-16LE", u"UTF-32", u"x-unheard-of"};

bool IsUnicode(const TString& text)
{
    return TString::FromUTF8(text.ToUTF8()) == text;
}

}   // namespace

// The first byte chooses the character set of the rest. Text of a set is Unicode; UTF-8 gives its bytes back, less the mark.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size == 0)
        return 0;
    std::string_view bytes(reinterpret_cast<const char*>(data) + 1, size - 1);
    const TString charset = kCharsets[data[0] % kCharsets.size()];
    if (!IsUnicode(DecodeHttpStringResponse(bytes, charset)) || !IsUnicode(DecodeHttpUTFStringResponse(bytes, charset)))
        std::abort();
    const TString text = DecodeHttpStringResponse(bytes, u"utf-8");
    if (bytes.starts_with("\xEF\xBB\xBF"))
        bytes.remove_prefix(3);
    if (text.ToUTF8() != bytes)
        std::abort();
    return 0;
}
