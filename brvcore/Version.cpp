#include "brvcore/Version.h"

const char* BrvcoreLibraryVersion() noexcept
{
    return kBrvcoreVersion;
}
