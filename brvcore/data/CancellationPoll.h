#pragma once

#include "brvcore/data/StructureGovernor.h"

#include <cstddef>

// Asks a governor whether to go on, once per amount of work rather than per item, which may be tiny or long. Belongs to one
// thread.
class CancellationPoll
{
public:
    // Steps of some nanoseconds between two questions: well below a millisecond.
    static constexpr std::size_t kSteps = std::size_t(1) << 14;

    explicit CancellationPoll(const StructureGovernor& governor) : m_governor(governor) {}

    // For work of so many steps that was done or is about to be. Asks at the first call. Throws what the governor throws.
    void Spend(std::size_t steps)
    {
        if (steps < m_left)
        {
            m_left -= steps;
            return;
        }
        m_left = kSteps;
        m_governor.ThrowIfCancelled();
    }

private:
    const StructureGovernor& m_governor;
    std::size_t m_left = 0;
};
