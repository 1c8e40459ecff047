// Splitting any text after any domains: what comes back is a split, the backtracking without memory agrees on short texts,
// and the inference over the pieces of the text ends.

#include "brvcore/data/LeftRight.h"
#include "tests/data/PlainInference.h"
#include "tests/data/TestDomains.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

namespace
{
void Require(bool condition)
{
    if (!condition)
        std::abort();
}
}   // namespace

// The first byte: catalogue, hints, start. The second: how many domains, one byte each. The rest is UTF-16.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size < 2)
        return 0;
    const unsigned mode = data[0];
    const std::size_t count = std::min<std::size_t>(data[1] % 24U, size - 2);
    const StructureGovernor governor(1 + mode % 100, 20, 20);
    const TestLibrary library(governor, mode % 2 == 0 ? SplitCatalogue() : TangledCatalogue(),
        mode % 3 == 0 ? TestLibrary::Hinting::None : TestLibrary::Hinting::All);
    std::vector<DomainPtr> pool = library.GetCatalogue();
    for (const char16_t* const literal : {u"-", u"..", u"a"})
        pool.push_back(DomainPtr(MakeRefCnt<TestLiteral>(literal)));
    std::vector<DomainPtr> domains;
    for (std::size_t i = 0; i < count; ++i)
        domains.push_back(pool[data[2 + i] % pool.size()]);
    std::u16string text;
    for (std::size_t i = 2 + count; i + 1 < size; i += 2)
        text += static_cast<char16_t>(data[i] | (data[i + 1] << 8U));

    const std::size_t start = mode / 64;
    const std::vector<std::size_t> ends =
        LeftRight(Value(text), domains.data(), domains.data() + domains.size(), start);
    Require(ends.empty() || (ends.size() == domains.size() && ends.back() == text.size()));
    for (std::size_t i = 0, from = start; i < ends.size(); from = ends[i++])
    {
        Require(from <= ends[i] && ends[i] - from >= domains[i]->shortest() && ends[i] - from <= domains[i]->longest());
        Require(domains[i]->match(Value(text).Part(from, ends[i] - from)));
    }
    if (text.size() <= 12 && count <= 8)
        Require(ends == PlainInference::LeftRight(Value(text), domains, 0, start).value_or(std::vector<std::size_t>()));

    std::vector<Value> samples;
    const std::size_t step = 1 + text.size() / 8;
    for (std::size_t from = 0; from < text.size(); from += step)
        samples.push_back(Value(text).Part(from, std::min(step, text.size() - from)));
    library.RankSamples(samples);
    return 0;
}
