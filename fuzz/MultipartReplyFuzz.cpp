// Multipart replies from any bytes in any pieces: what is read never depends on the cuts, on the sizes of the reads or
// on what was skipped, and where everything fits in the temporary buffer it is what plain searches in the whole body
// find.

#include "brvcore/network/MultipartResponsePart.h"
#include "tests/network/PieceSource.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <random>
#include <string>
#include <string_view>
#include <vector>

namespace
{

void Require(bool condition)
{
    if (!condition)
        std::abort();
}

struct Reply
{
    std::vector<std::string> parts;   // of the last one what could be read; a skipped one is empty
    std::string ending;               // "" after the final boundary, else the message of the exception
    friend bool operator==(const Reply&, const Reply&) = default;
};

Reply Read(IBufferSource& source, std::size_t capacity, std::size_t readSize, unsigned skipped)
{
    Reply result;
    std::string buffer(readSize, '\0');
    TNetworkMultipartReply reply(source, capacity);
    try
    {
        while (reply.ConstructNextPart())
        {
            result.parts.emplace_back();
            const bool isSkipped = (skipped >> (result.parts.size() % 32) & 1U) != 0;
            while (!isSkipped && !reply.PartDataTransferComplete())
            {
                const std::size_t count = reply.ReadFromPart(buffer.data(), readSize);
                Require(count <= readSize && (count > 0 || reply.PartDataTransferComplete()));
                result.parts.back().append(buffer, 0, count);
            }
        }
        Require(reply.IsDone() && reply.PartDataTransferComplete());
    }
    catch (const TNetworkMultipartException& exception)
    {
        result.ending = exception.what();
    }
    Require(reply.GetBytesConsumed() <= reply.GetBytesReceived());
    return result;
}

// The same with all of the body at hand; nothing when it ends inside of a part, of which only a reader in pieces can
// tell how much is data for certain.
std::optional<Reply> Search(std::string_view body)
{
    Reply result;
    const auto takeLine = [&body]() -> std::optional<std::string_view>
    {
        const std::size_t size = body.find('\n') + 1;
        if (size == 0)
            return std::nullopt;
        const std::string_view line = body.substr(0, size);
        body.remove_prefix(size);
        return line;
    };
    const auto isBlank = [](std::string_view line) { return line == "\n" || line == "\r\n"; };

    auto line = takeLine();
    while (line && isBlank(*line))
        line = takeLine();
    const std::string boundary = line ? std::string(line->substr(0, line->find_last_not_of(" \t\r\n\v\f") + 1)) : "";
    if (boundary.size() < 3 || !boundary.starts_with("--"))
        return Reply{{}, "Couldn't find initial boundary. MultipartReply cannot be parsed."};
    while (true)
    {
        for (line = takeLine(); line && !isBlank(*line);)
            line = takeLine();
        if (!line)
        {
            result.ending = "Failed to start processing a part of a multipart reply";
            return result;
        }
        const std::size_t place = body.find(boundary);
        if (place == std::string_view::npos || place + boundary.size() + 2 > body.size())
            return std::nullopt;
        const bool endsLine = place > 0 && body[place - 1] == '\n';
        result.parts.emplace_back(body.substr(0, place - (endsLine ? 1 : 0)));
        body.remove_prefix(place + boundary.size());
        if (body.starts_with("--"))
            return result;
        for (const std::string_view lineEnd : {"\n", "\r\n"})
            if (body.starts_with(lineEnd))
            {
                body.remove_prefix(lineEnd.size());
                break;
            }
    }
}

}   // namespace

// Four bytes: the source's buffer size, the capacity, the size of the reads, the seed of the cuts. The rest is the
// body.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    constexpr std::size_t kRoomy = 4096;
    if (size < 4 || size > kRoomy)
        return 0;
    const std::size_t bufferSize = 1 + data[0] % 64U;
    const std::size_t capacity = data[1] % 2 == 0 ? kRoomy : data[1];
    const std::size_t readSize = 1 + data[2];
    std::minstd_rand random(data[3]);
    const std::string_view body(reinterpret_cast<const char*>(data) + 4, size - 4);

    PieceSource full(body, bufferSize, [] { return std::string::npos; });
    PieceSource single(body, bufferSize, [] { return std::size_t{1}; });
    PieceSource cut(body, bufferSize, [&random] { return random() % 70; });
    PieceSource skipping(body, bufferSize, [&random] { return random() % 9; });
    const Reply reply = Read(full, capacity, readSize, 0);
    Require(Read(single, capacity, 1, 0) == reply);
    Require(Read(cut, capacity, kRoomy, 0) == reply);

    const unsigned skipped = static_cast<unsigned>(random());
    const Reply rest = Read(skipping, capacity, readSize, skipped);
    Require(rest.ending == reply.ending && rest.parts.size() == reply.parts.size());
    for (std::size_t i = 0; i < rest.parts.size(); ++i)
        Require(rest.parts[i] == ((skipped >> ((i + 1) % 32) & 1U) != 0 ? "" : reply.parts[i]));

    if (const std::optional<Reply> found = Search(body); capacity == kRoomy && found)
        Require(*found == reply);
    if (capacity == kRoomy && !Search(body))
        Require(reply.ending == "The transfer ended inside a part of a multipart reply");
    return 0;
}
