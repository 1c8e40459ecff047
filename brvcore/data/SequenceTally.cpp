#include "brvcore/data/SequenceTally.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <utility>

namespace
{
constexpr std::uint32_t kNone = std::numeric_limits<std::uint32_t>::max();

std::uint32_t HashOf(DomainSequence sequence) noexcept
{
    std::uint64_t hash = sequence.size();
    for (std::size_t i = 0; i < sequence.size(); i += 8)
    {
        std::uint64_t word = 0;
        std::memcpy(&word, sequence.data() + i, std::min<std::size_t>(8, sequence.size() - i));
        hash = (hash ^ word) * 0x9E3779B97F4A7C15U;
        hash ^= hash >> 29U;
    }
    return static_cast<std::uint32_t>(hash >> 7U);
}
}   // namespace

SequenceTally::SequenceTally(const SampleGroupList& groups, const StructureGovernor& governor) : m_poll(governor)
{
    for (std::size_t g = 0; g < groups.size(); ++g)
        groups[g].ForEachSequence(
            [&](DomainSequence sequence) { Add(sequence, groups[g].GetCount(), static_cast<std::uint32_t>(g)); });
}

void SequenceTally::Add(DomainSequence sequence, std::uint64_t count, std::uint32_t group)
{
    constexpr std::size_t kStepsPerSequence = 8;   // memory all over the place
    m_poll.Spend(kStepsPerSequence);
    const std::uint32_t hash = HashOf(sequence);
    Table& table = m_tables[hash % m_tables.size()];
    if (2 * table.used >= table.slots.size())
        Grow(table);
    const std::size_t mask = table.slots.size() - 1;
    std::size_t slot = (hash / m_tables.size()) & mask;
    for (; table.slots[slot] != kNone; slot = (slot + 1) & mask)
    {
        Entry& entry = At(table.slots[slot]);
        if (entry.hash != hash || entry.GetSequence() != sequence)
            continue;
        entry.count += entry.lastGroup == group ? 0 : count;
        entry.lastGroup = group;
        return;
    }
    if (m_size == kBlockSize * m_blocks.size())
        m_blocks.push_back(std::make_unique_for_overwrite<Entry[]>(kBlockSize));
    table.slots[slot] = static_cast<std::uint32_t>(m_size);
    ++table.used;
    At(m_size++) = {sequence.data(), static_cast<std::uint32_t>(sequence.size()), hash, count, group};
}

void SequenceTally::Grow(Table& table)
{
    constexpr std::size_t kSmallest = 16;
    m_poll.Spend(table.slots.size());
    std::vector<std::uint32_t> slots(table.slots.empty() ? kSmallest : 2 * table.slots.size(), kNone);
    const std::size_t mask = slots.size() - 1;
    for (const std::uint32_t entry : table.slots)
    {
        if (entry == kNone)
            continue;
        std::size_t slot = (At(entry).hash / m_tables.size()) & mask;
        while (slots[slot] != kNone)
            slot = (slot + 1) & mask;
        slots[slot] = entry;
    }
    table.slots = std::move(slots);
}
