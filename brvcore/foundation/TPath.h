#pragma once

#include "brvcore/foundation/BrvExport.h"
#include "brvcore/foundation/TString.h"

#include <compare>
#include <filesystem>
#include <utility>

// A file-system path. The native bytes are kept as they are, so that a name that is not UTF-8 still opens its file.
class BRV_EXPORT TPath
{
public:
    TPath() = default;
    explicit TPath(std::filesystem::path path) : m_path(std::move(path)) {}
    explicit TPath(const TString& text) : m_path(text.ToUTF8()) {}
    explicit TPath(const char16_t* text) : TPath(TString(text)) {}

    const std::filesystem::path& GetNative() const noexcept { return m_path; }
    TString ToText() const { return TString::FromUTF8(m_path.native()); }   // exact, see TString
    bool IsEmpty() const noexcept { return m_path.empty(); }

    TString GetFileName() const { return TString::FromUTF8(m_path.filename().native()); }
    TString GetExtension() const { return TString::FromUTF8(m_path.extension().native()); }   // with its dot
    TPath GetParent() const { return TPath(m_path.parent_path()); }
    // An absolute name replaces the path, as in the standard library.
    TPath operator/(const TString& name) const { return TPath(m_path / name.ToUTF8()); }

    friend bool operator==(const TPath&, const TPath&) = default;
    friend std::strong_ordering operator<=>(const TPath& a, const TPath& b) { return a.m_path.compare(b.m_path) <=> 0; }

private:
    std::filesystem::path m_path;
};
