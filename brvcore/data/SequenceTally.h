#pragma once

#include "brvcore/data/CancellationPoll.h"
#include "brvcore/data/SampleGroups.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

// How many samples have each sequence of domains, over all groups. There may be many millions: every sample may have a
// hundred of its own. The groups own the sequences and outlive the tally.
//
// Entries lie in blocks that never move, and the table is cut into many small ones that grow apart, so no single step takes
// longer than a fraction of a millisecond, and cancellation is noticed between steps.
class SequenceTally
{
public:
    struct Entry
    {
        const unsigned char* domains;
        std::uint32_t length;
        std::uint32_t hash;
        std::uint64_t count;
        std::uint32_t lastGroup;   // a group counts once

        DomainSequence GetSequence() const noexcept { return {domains, length}; }
    };

    // Throws what the governor throws.
    SequenceTally(const SampleGroupList& groups, const StructureGovernor& governor);

    std::size_t GetSize() const noexcept { return m_size; }
    const Entry& operator[](std::size_t entry) const noexcept
    {
        return m_blocks[entry / kBlockSize][entry % kBlockSize];
    }

private:
    static constexpr std::size_t kBlockSize = std::size_t(1) << 12;

    struct Table   // open addressing; positions of entries
    {
        std::vector<std::uint32_t> slots;
        std::size_t used = 0;
    };

    void Add(DomainSequence sequence, std::uint64_t count, std::uint32_t group);
    void Grow(Table& table);
    Entry& At(std::size_t entry) noexcept { return m_blocks[entry / kBlockSize][entry % kBlockSize]; }

    CancellationPoll m_poll;
    std::vector<std::unique_ptr<Entry[]>> m_blocks;
    std::size_t m_size = 0;
    std::array<Table, 512> m_tables;   // by hash
};
