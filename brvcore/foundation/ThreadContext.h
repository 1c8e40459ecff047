#pragma once

#include "brvcore/foundation/BrvExport.h"
#include "brvcore/foundation/TString.h"

#include <map>
#include <optional>

// Named facts that a host attaches to the work of the calling thread (a session, a request) and that sinks may read.
// Each thread has its own; nothing is inherited by threads that it starts.
class BRV_EXPORT ThreadContextScope
{
public:
    // Sets a value for the lifetime of the object, then puts the one before it back. Scopes nest.
    ThreadContextScope(TString key, TString value);
    ~ThreadContextScope();
    ThreadContextScope(const ThreadContextScope&) = delete;
    ThreadContextScope& operator=(const ThreadContextScope&) = delete;

private:
    TString m_key;
    std::optional<TString> m_previous;
};

namespace ThreadContext
{

BRV_EXPORT std::optional<TString> Find(const TString& key);
BRV_EXPORT const std::map<TString, TString>& GetAll();

}   // namespace ThreadContext
