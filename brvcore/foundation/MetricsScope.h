#pragma once

#include "brvcore/foundation/BrvExport.h"
#include "brvcore/foundation/TString.h"

#include <chrono>
#include <map>
#include <memory>
#include <string_view>

// One finished scope as a sink receives it, valid during the call.
struct MetricsRecord
{
    std::u16string_view name;
    std::chrono::nanoseconds elapsed;
    const std::map<TString, TString>& facts;
};

// Where measurements go. Write() is called on the thread that measured, on several at once.
class BRV_EXPORT IMetricsSink
{
public:
    virtual ~IMetricsSink();
    virtual void Write(const MetricsRecord& record) = 0;
};

// Installs the process's metrics sink and returns the one before it; null (the state at the start) turns metrics off.
// May be called while other threads measure.
BRV_EXPORT std::shared_ptr<IMetricsSink> SetMetricsSink(std::shared_ptr<IMetricsSink> sink);

// Times the block that it stands in, under a name that must outlive it (a literal), and reports when the block ends, by
// exception too. Without a sink it neither allocates nor asks the clock. One object serves one thread; nothing that a sink
// throws leaves it.
class BRV_EXPORT MetricsScope
{
public:
    explicit MetricsScope(std::u16string_view name) noexcept;
    ~MetricsScope();
    MetricsScope(const MetricsScope&) = delete;
    MetricsScope& operator=(const MetricsScope&) = delete;

    // True when somebody listens, so that a caller may skip computing a fact.
    bool IsActive() const noexcept { return m_state != nullptr; }
    // Adds a fact to the report, or replaces the one of that key.
    void Emit(const TString& key, const TString& value);

private:
    struct State;
    std::unique_ptr<State> m_state;
};
