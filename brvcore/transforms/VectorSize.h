#pragma once

#include <cstddef>

// The size of a container, under the name that conditions of assertions, and so their messages, use.
template <class Container> constexpr std::size_t tsize(const Container& container) noexcept
{
    return container.size();
}
