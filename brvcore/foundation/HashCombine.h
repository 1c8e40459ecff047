#pragma once

#include <bit>
#include <concepts>
#include <cstdint>

// Folds 32-bit values into one hash that is the same in every process and on every machine (hashes may be stored).
// The step is the body of MurmurHash3 x86_32 by A. Appleby (public domain).
class THashCombine32
{
public:
    explicit constexpr THashCombine32(std::uint32_t seed = 0) noexcept : m_hash(seed) {}

    constexpr THashCombine32& Add(std::uint32_t value) noexcept
    {
        value *= 0xCC9E2D51U;
        value = std::rotl(value, 15);
        value *= 0x1B873593U;
        m_hash ^= value;
        m_hash = std::rotl(m_hash, 13) * 5U + 0xE6546B64U;
        return *this;
    }
    constexpr THashCombine32& Add(std::int32_t value) noexcept { return Add(static_cast<std::uint32_t>(value)); }
    constexpr THashCombine32& Add(std::uint64_t value) noexcept
    {
        return Add(static_cast<std::uint32_t>(value)).Add(static_cast<std::uint32_t>(value >> 32U));
    }
    constexpr THashCombine32& Add(std::int64_t value) noexcept { return Add(static_cast<std::uint64_t>(value)); }
    // Nothing but a bool: a pointer would turn into one.
    constexpr THashCombine32& Add(std::same_as<bool> auto value) noexcept
    {
        return Add(static_cast<std::uint32_t>(value));
    }

    // Equal numbers hash equally: both zeros count as the integer 0.
    constexpr THashCombine32& Add(double value) noexcept
    {
        return value == 0.0 ? Add(std::uint32_t{0}) : Add(std::bit_cast<std::uint64_t>(value));
    }

    constexpr std::uint32_t Get() const noexcept { return m_hash; }

private:
    std::uint32_t m_hash;
};
