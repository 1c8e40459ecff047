#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

// The 32-bit Mersenne Twister MT19937 of M. Matsumoto and T. Nishimura, "Mersenne Twister", ACM Transactions on Modeling
// and Computer Simulation 8 (1998): the sequence of std::mt19937, made a whole state at a time. The loops of a refill carry
// no dependence shorter than 227 words, so the compiler may run them on vectors; that halves the cost of a draw.
class MersenneTwister
{
public:
    explicit MersenneTwister(std::uint32_t seed)
    {
        m_state[0] = seed;
        for (std::size_t i = 1; i < kWords; ++i)
            m_state[i] = 1812433253u * (m_state[i - 1] ^ (m_state[i - 1] >> 30)) + static_cast<std::uint32_t>(i);
    }

    std::uint32_t operator()()
    {
        if (m_next == kWords) [[unlikely]]
            Refill();
        return m_output[m_next++];
    }

private:
    static constexpr std::size_t kWords = 624;
    static constexpr std::size_t kShift = 397;

    static std::uint32_t Twist(std::uint32_t high, std::uint32_t low)
    {
        const std::uint32_t joined = (high & 0x80000000u) | (low & 0x7FFFFFFFu);
        return (joined >> 1) ^ ((0u - (joined & 1u)) & 0x9908B0DFu);
    }

    void Refill()
    {
        std::uint32_t* const s = m_state.data();
        for (std::size_t i = 0; i < kWords - kShift; ++i)
            s[i] = s[i + kShift] ^ Twist(s[i], s[i + 1]);
        for (std::size_t i = kWords - kShift; i < kWords - 1; ++i)
            s[i] = s[i - (kWords - kShift)] ^ Twist(s[i], s[i + 1]);
        s[kWords - 1] = s[kShift - 1] ^ Twist(s[kWords - 1], s[0]);

        for (std::size_t i = 0; i < kWords; ++i)
        {
            std::uint32_t y = s[i];
            y ^= y >> 11;
            y ^= (y << 7) & 0x9D2C5680u;
            y ^= (y << 15) & 0xEFC60000u;
            m_output[i] = y ^ (y >> 18);
        }
        m_next = 0;
    }

    std::array<std::uint32_t, kWords> m_state;
    std::array<std::uint32_t, kWords> m_output;
    std::size_t m_next = kWords;
};
