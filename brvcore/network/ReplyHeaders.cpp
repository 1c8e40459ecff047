#include "brvcore/network/ReplyHeaders.h"

#include <algorithm>

namespace
{

constexpr char16_t ToAsciiLower(char16_t unit) noexcept
{
    return unit >= u'A' && unit <= u'Z' ? static_cast<char16_t>(unit + (u'a' - u'A')) : unit;
}

bool EqualsNoCase(std::string_view bytes, std::u16string_view name) noexcept
{
    return std::ranges::equal(
        bytes, name, {}, [](char byte) { return ToAsciiLower(static_cast<unsigned char>(byte)); }, ToAsciiLower);
}

}   // namespace

void ReplyHeaders::Add(std::string_view name, std::string_view value)
{
    constexpr std::size_t kUsualText = 1024;
    constexpr std::size_t kUsualCount = 16;
    if (m_fields.empty())
    {
        m_text.reserve(kUsualText);
        m_fields.reserve(kUsualCount);
    }
    const std::size_t begin = m_text.size();
    m_text += name;
    m_text += value;
    m_fields.push_back({begin, begin + name.size(), m_text.size()});
}

void ReplyHeaders::ExtendLast(std::string_view value)
{
    if (m_fields.empty())
        return;
    m_text += ' ';
    m_text += value;
    m_fields.back().end = m_text.size();
}

void ReplyHeaders::Clear() noexcept
{
    m_text.clear();
    m_fields.clear();
}

TString ReplyHeaders::Get(std::u16string_view name) const
{
    TString joined;
    bool isFirst = true;
    for (const Field& field : m_fields)
    {
        if (!EqualsNoCase(GetName(field), name))
            continue;
        if (!std::exchange(isFirst, false))
            joined.Append(u", ");
        joined.Append(TString::FromUTF8(GetValue(field)));
    }
    return joined;
}

bool ReplyHeaders::Has(std::u16string_view name) const noexcept
{
    return std::ranges::any_of(m_fields, [&](const Field& field) { return EqualsNoCase(GetName(field), name); });
}

std::vector<std::pair<TString, TString>> ReplyHeaders::GetAll() const
{
    std::vector<std::pair<TString, TString>> all;
    all.reserve(m_fields.size());
    for (const Field& field : m_fields)
        all.emplace_back(TString::FromUTF8(GetName(field)), TString::FromUTF8(GetValue(field)));
    return all;
}
