// An outside host in small: values in, statistics out, and a failure that crosses the library's border as an exception.

#include "brvcore/Version.h"
#include "brvcore/foundation/LogicException.h"
#include "brvcore/foundation/TString.h"
#include "brvcore/transforms/BasicStatistics.h"

#include <cstdio>
#include <cstring>
#include <vector>

int main()
{
    std::printf("compiled against brvcore %s, running with %s\n", kBrvcoreVersion, BrvcoreLibraryVersion());
    if (std::strcmp(kBrvcoreVersion, BrvcoreLibraryVersion()) != 0)
        return 1;

    const std::vector<double> ascending{1.0, 2.0, 4.0, 8.0};
    const double median = BasicStatistics::GetQuantile(ascending, 0.5);
    std::printf("median %s\n", TString::FromDouble(median).ToUTF8().c_str());
    if (median != 3.0)
        return 1;

    try
    {
        BasicStatistics::GetQuantile(ascending, 1.5);
    }
    catch (const LogicException& e)
    {
        std::printf("refused: %s\n", e.what());
        return 0;
    }
    return 1;
}
