#pragma once

#include "brvcore/foundation/BrevionError.h"

#include <cstdint>

// One factory and one description per line of ErrorSites.def: `LogicAssert_0xFDD4CCAB(message)` makes the site's error,
// `Site_0xFDD4CCAB` holds its code and the source name for the exception. A code that stands twice in the list defines
// the same names twice and does not compile.
namespace BrvErrorsError
{

#define BRV_ERROR_SITE(code, source)                                                                                   \
    struct Site_##code                                                                                                 \
    {                                                                                                                  \
        static constexpr std::uint32_t kCode = code;                                                                   \
        static constexpr const char* kSource = source;                                                                 \
    };                                                                                                                 \
    inline BrevionError LogicAssert_##code(TString message)                                                            \
    {                                                                                                                  \
        return BrevionError::MakeError(code, static_cast<TString&&>(message));                                         \
    }
#include "brvcore/foundation/ErrorSites.def"
#undef BRV_ERROR_SITE

}   // namespace BrvErrorsError
