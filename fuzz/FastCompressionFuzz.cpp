// Containers from outside: any bytes are restored or refused, never read or written beyond their ends; what is restored
// packs and restores again, and so do the bytes themselves.

#include "brvcore/runtime/FastCompression.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <vector>

namespace
{

constexpr std::size_t kHighSizeBytes = 3;   // bytes 3 and 4 of a container: multiples of 64 KiB

void ExpectRoundTrip(const unsigned char* data, std::size_t size)
{
    const auto packed = brevion::compress::ZlibCompressFastest(data, size);
    const auto restored = packed ? brevion::compress::ZlibUncompressFastest(packed->data(), packed->size()) : nullptr;
    if (!restored || *restored != std::vector<unsigned char>(data, data + size))
        std::abort();
}

}   // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    // A copy of the exact size, so that a read beyond it is seen; at most 1 MiB may be claimed.
    std::vector<unsigned char> container(data, data + size);
    if (size > kHighSizeBytes)
        container[kHighSizeBytes] &= 0x0FU;
    if (size > kHighSizeBytes + 1)
        container[kHighSizeBytes + 1] = 0;
    const unsigned char nothing = 0;
    const unsigned char* const bytes = container.empty() ? &nothing : container.data();

    if (const auto restored = brevion::compress::ZlibUncompressFastest(bytes, size); restored && !restored->empty())
        ExpectRoundTrip(restored->data(), restored->size());
    ExpectRoundTrip(bytes, size);
    return 0;
}
