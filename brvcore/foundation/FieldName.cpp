#include "brvcore/foundation/FieldName.h"

#include "brvcore/foundation/HashCombine.h"

namespace
{

TString Bracketed(const TString& name)
{
    return TString(u"[") + name.Replaced(u"]", u"]]") + u"]";
}

}   // namespace

TString QualifiedName::ToText() const
{
    const TString field = Bracketed(m_field.GetName());
    return m_source.IsEmpty() ? field : Bracketed(m_source) + u"." + field;
}

std::uint32_t QualifiedName::Hash() const noexcept
{
    return THashCombine32().Add(m_source.Hash()).Add(m_field.Hash()).Get();
}
