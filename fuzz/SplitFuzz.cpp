// Columns from outside: any UTF-16 is split in bounded time, and calculations are as many as the fields allow. Any text may be
// counted as a regular expression. The first byte chooses the options, the rest are samples in UTF-16, separated by line feeds.

#include "brvcore/data/ICUDateFormatInspector.h"
#include "brvcore/foundation/LogicException.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

namespace
{
void Require(bool condition)
{
    if (!condition)
        std::abort();
}

bool IsSurrogate(char16_t unit, char16_t first)
{
    return (unit & 0xFC00) == first;
}

void CheckSpecs(const std::vector<SplitSpec>& specs, const std::set<TString>& samples)
{
    Require(specs.size() <= StructureGovernor().GetMaxDomains());
    Require(specs.empty() || !specs.front().separator.IsEmpty());
    for (std::size_t i = 0; i < specs.size(); ++i)
    {
        const TString& separator = specs[i].separator;
        if (separator.IsEmpty())
        {
            Require(i + 1 == specs.size() && specs[i].type != DataType::Unknown);
            continue;
        }
        Require(!IsSurrogate(separator[0], 0xDC00) && !IsSurrogate(separator[separator.Length() - 1], 0xD800));
        bool isFound = false;
        for (const TString& sample : samples)
            isFound = isFound || sample.Contains(separator);
        Require(isFound);
    }
}

// The first sample is the expression. Most are none, and some take too long.
void CountMatches(const std::set<TString>& samples)
{
    try
    {
        Require(CountSplitRegExpMatches(*samples.begin(), samples) <= samples.size());
    }
    catch (const LogicException& exception)
    {
        Require(exception.GetFile() == "data/ICUDateFormatInspector");
    }
}
}   // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size == 0)
        return 0;
    std::u16string text((size - 1) / 2, u'\0');
    if (!text.empty())
        std::memcpy(text.data(), data + 1, text.size() * sizeof(char16_t));
    std::set<TString> samples;
    for (const TString& sample : TString(text).Split(u"\n"))
        samples.insert(sample);

    const std::vector<SplitSpec> specs = GenerateSplitSpec(samples, StructureGovernor(), data[0] % 2 != 0);
    CheckSpecs(specs, samples);
    std::vector<SplitSpec> used = specs;
    std::vector<TString> calculations;
    GenerateSplitCalcsUsingSplitFunc(u"[F]", used, calculations, data[0] % 4 > 1);
    Require(calculations.size() <= used.size() && calculations.size() <= 10 && used.size() <= specs.size());
    if (data[0] % 8 > 3)
        CountMatches(samples);
    if (data[0] % 2 != 0 && data[0] % 4 < 2)
        Require(GenerateSplitCalcs(u"[F]", samples, false) == calculations);
    return 0;
}
