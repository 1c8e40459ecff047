#include "brvcore/data/LeftRight.h"

#include <algorithm>

namespace
{
// One split of one value. A start from which the domains from one on failed fails again: after a few failures they are
// remembered, which keeps the backtracking polynomial and the common case free of the table.
class Splitter
{
public:
    Splitter(const Value& value, const DomainPtr* first, const DomainPtr* last, CancellationPoll* poll)
        : m_value(value), m_domains(first), m_count(static_cast<std::size_t>(last - first)), m_poll(poll)
    {
    }

    std::vector<std::size_t> Split(std::size_t start)
    {
        m_ends.resize(m_count);
        if (m_count == 0 || !SplitFrom(0, start))
            m_ends.clear();
        return std::move(m_ends);
    }

private:
    static constexpr std::size_t kUnitsPerSpend = 64;

    bool SplitFrom(std::size_t index, std::size_t start)
    {
        if (start >= m_value.length || IsKnownFailure(index, start))
            return false;
        const Domain& domain = *m_domains[index];
        const bool isSplit = index + 1 == m_count                     ? TakeRest(domain, start)
                             : domain.GetHints().automaton != nullptr ? ScanByClass(domain, index, start)
                                                                      : Scan(domain, index, start);
        if (!isSplit)
            RememberFailure(index, start);
        return isSplit;
    }

    bool TakeRest(const Domain& domain, std::size_t start)
    {
        const std::size_t length = m_value.length - start;
        Spend(length);
        if (length < domain.shortest() || length > domain.longest() || !domain.match(m_value.Part(start, length)))
            return false;
        m_ends.back() = m_value.length;
        return true;
    }

    bool Scan(const Domain& domain, std::size_t index, std::size_t start)
    {
        const std::size_t limit = std::min<std::size_t>(domain.longest(), m_value.length - start);
        for (std::size_t length = domain.shortest(); length <= limit; ++length)
        {
            Spend(length);
            if (domain.match(m_value.Part(start, length)))
            {
                if (TryRest(index, start + length))
                    return true;
            }
            else if (domain.uniform(static_cast<unsigned>(length)))
                return false;
        }
        return false;
    }

    bool ScanByClass(const Domain& domain, std::size_t index, std::size_t start)
    {
        const ClassAutomaton& automaton = *domain.GetHints().automaton;
        const std::size_t limit = std::min<std::size_t>(domain.longest(), m_value.length - start);
        const std::size_t shortest = domain.shortest();
        ClassAutomaton::State state = ClassAutomaton::kStart;
        for (std::size_t length = 0;; ++length)
        {
            if (length % kUnitsPerSpend == 0)
                Spend(kUnitsPerSpend);
            if (length >= shortest && automaton.IsAccepting(state) && TryRest(index, start + length))
                return true;
            if (length >= limit)
                return false;
            state = automaton.Next(state, ClassOf(m_value.text[start + length]));
            if (state == ClassAutomaton::kDead)
                return false;
        }
    }

    void Spend(std::size_t steps)
    {
        if (m_poll != nullptr)
            m_poll->Spend(steps);
    }

    bool TryRest(std::size_t index, std::size_t end)
    {
        if (!SplitFrom(index + 1, end))
            return false;
        m_ends[index] = end;
        return true;
    }

    bool IsKnownFailure(std::size_t index, std::size_t start) const
    {
        return !m_failed.empty() && m_failed[index * m_value.length + start];
    }
    void RememberFailure(std::size_t index, std::size_t start)
    {
        constexpr std::size_t kFailuresWithoutTable = 64;
        if (++m_failures < kFailuresWithoutTable)
            return;
        if (m_failed.empty())
            m_failed.resize(m_count * m_value.length);
        m_failed[index * m_value.length + start] = true;
    }

    const Value& m_value;
    const DomainPtr* m_domains;
    std::size_t m_count;
    CancellationPoll* m_poll;
    std::vector<std::size_t> m_ends;
    std::vector<bool> m_failed;   // by domain and start
    std::size_t m_failures = 0;
};
}   // namespace

std::vector<std::size_t> LeftRight(
    const Value& value, const DomainPtr* first, const DomainPtr* last, std::size_t start, CancellationPoll* poll)
{
    return Splitter(value, first, last, poll).Split(start);
}
