#pragma once

#include "brvcore/foundation/BrvExport.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>

// Limits and cancellation of one structure inference. A host derives from it to cancel: what ThrowIfCancelled() throws
// leaves the call that infers. It is asked on several threads at once.
class BRV_EXPORT StructureGovernor
{
public:
    // Stacks are as deep as structures are long, on threads of the pool too.
    static constexpr std::uint64_t kDeepest = 1000;

    StructureGovernor() = default;
    StructureGovernor(std::uint64_t maxEnumerate, std::uint64_t maxDomains, std::uint64_t maxDuplicates)
        : m_maxEnumerate(maxEnumerate), m_maxDomains(maxDomains), m_maxDuplicates(maxDuplicates)
    {
    }
    StructureGovernor(const StructureGovernor&) = default;
    StructureGovernor& operator=(const StructureGovernor&) = default;
    virtual ~StructureGovernor();

    // The most candidate structures kept per sample (a scan stops once it holds more), and the most that are ranked.
    virtual std::uint64_t GetMaxEnumerate() const;
    // The most domains in one structure. The inference takes no more than kDeepest of them, whatever a host returns.
    virtual std::uint64_t GetMaxDomains() const;
    // A limit for callers of the inference; the ranking does not ask for it.
    virtual std::uint64_t GetMaxDuplicates() const;
    // Asked at least once per sample and again while ranking, some milliseconds apart at most. Here: does nothing.
    virtual void ThrowIfCancelled() const;

    // GetMaxDomains() within kDeepest.
    std::size_t GetDepth() const { return static_cast<std::size_t>(std::min(GetMaxDomains(), kDeepest)); }

private:
    std::uint64_t m_maxEnumerate = 100;
    std::uint64_t m_maxDomains = 20;
    std::uint64_t m_maxDuplicates = 20;
};
