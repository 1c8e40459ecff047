#pragma once

#include "brvcore/network/MultipartResponsePart.h"

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

// The texts that part a multipart reply, and how to find them in bytes. Pure: nothing here waits or keeps data.
//
// A boundary counts wherever its text stands, not only at the start of a line, and whatever follows it: a server must
// choose a text that occurs in no part's data.
class MultipartBoundary
{
public:
    using BoundaryType = MultipartResponsePart::BoundaryType;

    // The text of a part boundary, without its line end, "--" and more.
    // Throws LogicException 0x2A46EBCC "partBoundary.size() >= 3 && partBoundary.starts_with(\"--\")".
    explicit MultipartBoundary(std::string partBoundary);

    // The part boundary that the first line of a reply announces, or nothing when that line is none: it has to start
    // with "--" and to have at least 3 characters once the white space at its end is gone. "--b--" is a boundary of its
    // own, although it may have been meant as the final one of an empty reply.
    static std::optional<std::string> ParseBoundary(std::string_view line);

    std::string_view GetPartBoundary() const noexcept
    {
        return std::string_view(m_finalBoundary).substr(0, m_finalBoundary.size() - 2);
    }
    const std::string& GetFinalBoundary() const noexcept { return m_finalBoundary; }

    // Looks for a boundary that begins in the first `length` bytes of [begin, end). `offset` is its first "-".
    //
    // Incomplete: `offset` is the first "-" after which the bytes do not suffice for a decision: a lone one at the very
    // end, or two with less than a final boundary from there to the end. With more data, search again from there. None:
    // `offset` is the number of bytes that were searched, in which no boundary begins.
    BoundaryType SearchBufferForBoundary(
        const char* begin, const char* end, std::size_t length, std::size_t& offset) const;

    // From the place of a boundary, `dataEnd`: where the part's data ends and where what follows the boundary begins.
    // The line feed before the boundary belongs to it. A carriage return before that stays in the data. The line feed
    // right after a part boundary belongs to it too; a CR LF there is left in place.
    void DealWithExtraEndLines(
        std::string_view data, BoundaryType type, std::size_t& dataEnd, std::size_t& nextStart) const;

private:
    std::string m_finalBoundary;   // the part boundary and "--"
};
