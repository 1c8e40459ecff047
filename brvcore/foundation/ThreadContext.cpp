#include "brvcore/foundation/ThreadContext.h"

#include <utility>

namespace
{

std::map<TString, TString>& Values()
{
    thread_local std::map<TString, TString> values;
    return values;
}

}   // namespace

ThreadContextScope::ThreadContextScope(TString key, TString value)
    : m_key(std::move(key)), m_previous(ThreadContext::Find(m_key))
{
    Values()[m_key] = std::move(value);
}

ThreadContextScope::~ThreadContextScope()
{
    if (m_previous)
        Values()[m_key] = *std::move(m_previous);
    else
        Values().erase(m_key);
}

std::optional<TString> ThreadContext::Find(const TString& key)
{
    const auto found = Values().find(key);
    return found == Values().end() ? std::nullopt : std::optional(found->second);
}

const std::map<TString, TString>& ThreadContext::GetAll()
{
    return Values();
}
