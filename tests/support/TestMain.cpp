#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <locale>

#include <gtest/gtest.h>

namespace
{

// Takes the locale of the environment for the C and the C++ library, as a host may. Results must not depend on it, and the
// suite runs under several to prove that. Setting the "C" locale instead of a missing one would prove nothing.
bool UseLocaleOfEnvironment()
{
    try
    {
        std::locale::global(std::locale(""));
    }
    catch (const std::exception&)
    {
        const char* name = std::getenv("LC_ALL");
        std::fprintf(stderr, "The locale '%s' is not installed; ./dev setup generates the locales of the tests.\n",
            name != nullptr ? name : "of LANG or LC_*");
        return false;
    }
    if (std::setlocale(LC_ALL, "") == nullptr)
        return false;
    std::printf(
        "Locale %s, decimal separator '%s'\n", std::setlocale(LC_NUMERIC, nullptr), std::localeconv()->decimal_point);
    return true;
}

}   // namespace

int main(int argc, char** argv)
{
    testing::InitGoogleTest(&argc, argv);
    if (!GTEST_FLAG_GET(list_tests) && !UseLocaleOfEnvironment())
        return 2;
    return RUN_ALL_TESTS();
}
