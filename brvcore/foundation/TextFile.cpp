#include "brvcore/foundation/TextFile.h"

#include "brvcore/foundation/LogicException.h"
#include "brvcore/foundation/TFormatString.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>
#include <system_error>

namespace
{

[[noreturn]] void ThrowUnreadable(const TPath& path, int reason)
{
    const char* const description = strerrordesc_np(reason);   // unlike strerror never translated
    const TString why = description != nullptr ? TString::FromUTF8(description) : TString::FromInt(reason);
    BRV_LOGIC_ERROR(0x2C7F48BA, TFormatString(u"Cannot read \"%1\": %2").arg(path.ToText()).arg(why).result());
}

TString DecodeUTF16(std::string_view bytes, bool isBigEndian)
{
    std::u16string text;
    text.reserve(bytes.size() / 2 + 1);
    for (std::size_t i = 0; i + 1 < bytes.size(); i += 2)
    {
        const auto first = static_cast<unsigned char>(bytes[i]);
        const auto second = static_cast<unsigned char>(bytes[i + 1]);
        text.push_back(static_cast<char16_t>(isBigEndian ? first << 8U | second : second << 8U | first));
    }
    if (bytes.size() % 2 != 0)
        text.push_back(u'\uFFFD');
    return text;
}

}   // namespace

std::string TextFile::LoadBytes(const TPath& path)
{
    if (path.GetNative().native().find('\0') != std::string::npos)
        ThrowUnreadable(path, EINVAL);   // the system would open the part before it
    using File = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;
    const File file(std::fopen(path.GetNative().c_str(), "rbe"), &std::fclose);
    if (!file)
        ThrowUnreadable(path, errno);
    std::string bytes;
    std::error_code unknown;   // of a pipe, for example
    if (const auto size = std::filesystem::file_size(path.GetNative(), unknown); !unknown)
        bytes.reserve(size);
    std::array<char, 1U << 16U> buffer;
    while (const std::size_t count = std::fread(buffer.data(), 1, buffer.size(), file.get()))
        bytes.append(buffer.data(), count);
    if (std::ferror(file.get()) != 0)
        ThrowUnreadable(path, errno);   // a folder opens, but does not read
    return bytes;
}

TString TextFile::Load(const TPath& path)
{
    return Decode(LoadBytes(path));
}

TString TextFile::Decode(std::string_view bytes)
{
    if (bytes.starts_with("\xFF\xFE") || bytes.starts_with("\xFE\xFF"))
        return DecodeUTF16(bytes.substr(2), bytes.front() == '\xFE');
    if (bytes.starts_with("\xEF\xBB\xBF"))
        bytes.remove_prefix(3);
    return TString::FromUTF8(bytes);
}
