#pragma once

#include "brvcore/foundation/BrvExport.h"

#include <cstddef>
#include <memory>
#include <vector>

// Byte buffers packed by zlib at its fastest level, behind a header from which the reader takes the exact size to allocate:
//
//     offset  width  content
//     0       1      method, always 1 (zlib)
//     1       4      size of the data, unsigned, little-endian
//     5       3      zero; not looked at when reading
//     8       rest   the zlib stream (RFC 1950); bytes after its end are not looked at
//
// Sizes are in bytes. A null result is a failure; bad input never throws, and an allocation that fails passes out as
// std::bad_alloc. The functions keep no state and may be called on any thread.
//
// A container tells its size before any of it is read: nine bytes may claim 4 GiB and get them. Who restores containers of
// unknown origin compares bytes 1 to 4 with a bound first.
namespace brevion::compress
{

using OwnedBytes = std::unique_ptr<std::vector<unsigned char>>;

// The container of `size` bytes of data; null for null data (an empty buffer has an address too), for more than 3700000000
// bytes, and when zlib finds no memory for its tables. Holds the memory of the worst case until it is done, and then no
// more than the container takes.
//
// Reports one metrics scope and one log event, both called "zlib-compress-data": "outcome" "done" at level Info with
// "uncompressed-size-b", "compressed-size-b" (the whole container) and, in the log, "elapsed-ms"; or "fail" at level
// Warning with the "reason", where there is one to tell.
BRV_EXPORT OwnedBytes ZlibCompressFastest(const unsigned char* data, std::size_t size);

// The same container, for callers with reports of their own.
BRV_EXPORT OwnedBytes ZlibCompressFastestNoLogging(const unsigned char* data, std::size_t size);

// The data of a container. Reports as above under the name "zlib-uncompress-data"; the reasons, in the order in which they
// are looked for:
//
//     "input data null"
//     "malformed input (too small)"                       below 8 bytes
//     "malformed input (unexpected compression method)"
//     "unexpected size after uncompress"                  with "size-expected", "size-actual", "zlib-error-code"; the code
//                                                         is -4 when zlib found no memory for its tables
//     "non-zero errorcode from uncompress()"              with "zlib-error-code": a stream that is longer than the header
//                                                         says, or whose check sum is wrong
//
// A size of 0 in the header gives an empty buffer, whatever follows.
BRV_EXPORT OwnedBytes ZlibUncompressFastest(const unsigned char* data, std::size_t size);

}   // namespace brevion::compress
