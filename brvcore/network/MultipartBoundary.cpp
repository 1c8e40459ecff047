#include "brvcore/network/MultipartBoundary.h"

#include "brvcore/foundation/LogicException.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace
{

constexpr std::string_view kMark = "--";

}   // namespace

MultipartBoundary::MultipartBoundary(std::string partBoundary)
{
    BRV_LOGIC_ASSERT(0x2A46EBCC, partBoundary.size() >= 3 && partBoundary.starts_with("--"));
    m_finalBoundary = std::move(partBoundary);
    m_finalBoundary += kMark;
}

std::optional<std::string> MultipartBoundary::ParseBoundary(std::string_view line)
{
    const std::string_view text = line.substr(0, line.find_last_not_of(" \t\r\n\v\f") + 1);
    if (text.size() < 3 || !text.starts_with(kMark))
        return std::nullopt;
    return std::string(text);
}

MultipartResponsePart::BoundaryType MultipartBoundary::SearchBufferForBoundary(
    const char* begin, const char* end, std::size_t length, std::size_t& offset) const
{
    // Both boundaries begin with the text of the part boundary, so one search finds the first of either. It is the C
    // library's, which skips most bytes and stays linear; where a final boundary would not fit it must not look.
    const std::size_t size = static_cast<std::size_t>(end - begin);
    const std::size_t searched = std::min(length, size);
    const std::string_view part = GetPartBoundary();
    const std::size_t decidable = size < m_finalBoundary.size() ? 0 : size - m_finalBoundary.size() + 1;
    if (const std::size_t starts = std::min(searched, decidable); starts > 0)
    {
        const void* const found = memmem(begin, starts + part.size() - 1, part.data(), part.size());
        if (found != nullptr)
        {
            const char* const place = static_cast<const char*>(found);
            offset = static_cast<std::size_t>(place - begin);
            const bool isFinal = std::string_view(place + part.size(), kMark.size()) == kMark;
            return isFinal ? BoundaryType::FinalBoundary : BoundaryType::Boundary;
        }
    }

    const std::string_view data(begin, size);
    std::size_t place = data.find(kMark, std::min(decidable, size));
    if (place == std::string_view::npos && data.ends_with('-'))
        place = size - 1;
    if (place < searched)
    {
        offset = place;
        return BoundaryType::Incomplete;
    }
    offset = searched;
    return BoundaryType::None;
}

void MultipartBoundary::DealWithExtraEndLines(
    std::string_view data, BoundaryType type, std::size_t& dataEnd, std::size_t& nextStart) const
{
    const bool isPart = type == BoundaryType::Boundary;
    nextStart = dataEnd + (isPart ? GetPartBoundary().size() : m_finalBoundary.size());
    if (dataEnd > 0 && data[dataEnd - 1] == '\n')
        --dataEnd;
    if (isPart && nextStart < data.size() && data[nextStart] == '\n')
        ++nextStart;
}
