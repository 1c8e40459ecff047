#pragma once

#include "brvcore/foundation/BrvExport.h"
#include "brvcore/foundation/TString.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

// The headers of a reply, kept as the bytes that came: texts are made of those that are asked for. A value type.
class BRV_EXPORT ReplyHeaders
{
public:
    void Add(std::string_view name, std::string_view value);
    void ExtendLast(std::string_view value);   // behind a blank; nothing without a header
    void Clear() noexcept;

    // ASCII letter case does not count, and names are ASCII; the values of a repeated name are joined by ", ". Empty when
    // absent. Bytes that are not UTF-8: see TString.
    TString Get(std::u16string_view name) const;
    bool Has(std::u16string_view name) const noexcept;
    // In the order received, repeated names apart. Names as sent by the server.
    std::vector<std::pair<TString, TString>> GetAll() const;

private:
    struct Field   // places in the text: a name, and its value behind it
    {
        std::size_t name;
        std::size_t value;
        std::size_t end;
    };
    std::string_view GetName(const Field& field) const noexcept { return GetPart(field.name, field.value); }
    std::string_view GetValue(const Field& field) const noexcept { return GetPart(field.value, field.end); }
    std::string_view GetPart(std::size_t begin, std::size_t end) const noexcept
    {
        return std::string_view(m_text).substr(begin, end - begin);
    }

    std::string m_text;
    std::vector<Field> m_fields;
};
