#include "brvcore/foundation/SecureRandom.h"

#include <cerrno>
#include <system_error>

#include <unistd.h>

std::uint64_t SecureRandom::NextUInt64()
{
    std::uint64_t value = 0;
    if (getentropy(&value, sizeof value) != 0)
        throw std::system_error(errno, std::generic_category(), "getentropy");
    return value;
}
