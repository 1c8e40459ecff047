// The smallest host: checks that the library it runs with is the one it was compiled against.

#include "brvcore/Version.h"

#include <cstdio>
#include <cstring>

int main()
{
    std::printf("compiled against brvcore %s, running with %s\n", kBrvcoreVersion, BrvcoreLibraryVersion());
    return std::strcmp(kBrvcoreVersion, BrvcoreLibraryVersion()) == 0 ? 0 : 1;
}
