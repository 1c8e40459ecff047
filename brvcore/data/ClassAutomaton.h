#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

// Classes of UTF-16 code units; every unit is in exactly one. Letters and digits are the ASCII ones, the space is U+0020.
enum class CharacterClass : std::uint8_t
{
    Letter,
    Digit,
    Space,
    Dot,
    Plus,
    Minus,
    Other,
};
inline constexpr std::size_t kCharacterClasses = 7;

constexpr CharacterClass ClassOf(char16_t unit) noexcept
{
    const auto lower = static_cast<char16_t>(unit | 0x20);
    if (lower >= u'a' && lower <= u'z' && unit < 0x80)
        return CharacterClass::Letter;
    if (unit >= u'0' && unit <= u'9')
        return CharacterClass::Digit;
    switch (unit)
    {
    case u' ':
        return CharacterClass::Space;
    case u'.':
        return CharacterClass::Dot;
    case u'+':
        return CharacterClass::Plus;
    case u'-':
        return CharacterClass::Minus;
    default:
        return CharacterClass::Other;
    }
}

// The set of classes, one bit each.
using ClassSet = std::uint8_t;
template <class... Classes> constexpr ClassSet ClassSetOf(Classes... classes) noexcept
{
    return static_cast<ClassSet>((0U | ... | (1U << static_cast<unsigned>(classes))));
}

// A deterministic finite automaton over classes of code units, made at compile time. It reads a part from left to right,
// starting in state 0; the part is accepted when the last state is an accepting one. In state kDead nothing is accepted any
// more, whatever follows.
class ClassAutomaton
{
public:
    using State = std::uint8_t;
    static constexpr State kStart = 0;
    static constexpr State kDead = 0xFF;
    static constexpr std::size_t kMaxStates = 16;

    constexpr ClassAutomaton() noexcept
    {
        for (auto& row : m_next)
            row.fill(kDead);
    }
    // From a state to another, on every class of the set. Returns the automaton, so that calls can be chained.
    constexpr ClassAutomaton& On(State from, ClassSet classes, State to) noexcept
    {
        for (std::size_t c = 0; c < kCharacterClasses; ++c)
            if (((classes >> c) & 1U) != 0)
                m_next[from][c] = to;
        return *this;
    }
    constexpr ClassAutomaton& Accept(State state) noexcept
    {
        m_accepting |= 1U << state;
        return *this;
    }

    // Defined for every state but kDead.
    constexpr State Next(State state, CharacterClass c) const noexcept
    {
        return m_next[state][static_cast<std::size_t>(c)];
    }
    constexpr bool IsAccepting(State state) const noexcept { return ((m_accepting >> state) & 1U) != 0; }
    constexpr bool Accepts(std::u16string_view part) const noexcept
    {
        State state = kStart;
        for (const char16_t unit : part)
            if (state = Next(state, ClassOf(unit)); state == kDead)
                return false;
        return IsAccepting(state);
    }

private:
    std::array<std::array<State, kCharacterClasses>, kMaxStates> m_next{};
    std::uint32_t m_accepting = 0;
};

namespace ClassAutomata
{
inline constexpr ClassSet kLetter = ClassSetOf(CharacterClass::Letter);
inline constexpr ClassSet kDigit = ClassSetOf(CharacterClass::Digit);
inline constexpr ClassSet kSpace = ClassSetOf(CharacterClass::Space);
inline constexpr ClassSet kDot = ClassSetOf(CharacterClass::Dot);
inline constexpr ClassSet kSign = ClassSetOf(CharacterClass::Plus, CharacterClass::Minus);
inline constexpr ClassSet kPunctuation =
    ClassSetOf(CharacterClass::Dot, CharacterClass::Plus, CharacterClass::Minus, CharacterClass::Other);

// One unit of the set, or one and more.
constexpr ClassAutomaton One(ClassSet classes) noexcept
{
    return ClassAutomaton().On(0, classes, 1).Accept(1);
}
constexpr ClassAutomaton Run(ClassSet classes) noexcept
{
    return One(classes).On(1, classes, 1);
}
// [-+]?(([0-9]+\.?[0-9]*)|(\.[0-9]+)): 1 after the sign, 2 in the digits before the point, 3 behind the point of those,
// 4 behind a point without digits before it.
constexpr ClassAutomaton Decimal() noexcept
{
    ClassAutomaton result;
    for (const ClassAutomaton::State start : {ClassAutomaton::State(0), ClassAutomaton::State(1)})
        result.On(start, kDigit, 2).On(start, kDot, 4);
    result.On(0, kSign, 1).On(2, kDigit, 2).On(2, kDot, 3).On(3, kDigit, 3).On(4, kDigit, 3);
    return result.Accept(2).Accept(3);
}
// [0-9]{1,3}(\.[0-9]{1,3}){3}: state 4 * group + digits of the group.
constexpr ClassAutomaton DottedQuad() noexcept
{
    ClassAutomaton result;
    for (unsigned group = 0; group < 4; ++group)
        for (unsigned digits = 0; digits <= 3; ++digits)
        {
            const auto state = static_cast<ClassAutomaton::State>(4 * group + digits);
            if (digits < 3)
                result.On(state, kDigit, static_cast<ClassAutomaton::State>(state + 1));
            if (digits > 0 && group < 3)
                result.On(state, kDot, static_cast<ClassAutomaton::State>(4 * group + 4));
            if (digits > 0 && group == 3)
                result.Accept(state);
        }
    return result;
}
}   // namespace ClassAutomata
