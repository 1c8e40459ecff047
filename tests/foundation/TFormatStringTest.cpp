#include "brvcore/foundation/TFormatString.h"

#include <limits>

#include <gtest/gtest.h>

TEST(TFormatString, ReplacesInOnePass)
{
    EXPECT_EQ(TFormatString(u"%1 and %2").arg(u"%2").arg(u"b").result(), u"%2 and b") << "an argument is text";
    EXPECT_EQ(TFormatString(u"%2 %1 %2").arg(1).arg(2).result(), u"2 1 2");
    EXPECT_EQ(TFormatString(u"%1 %3 100% %0 %").arg(u"x").result(), u"x %3 100% %0 %") << "no argument: stays";
    EXPECT_EQ(TFormatString(u"%%1").arg(u"x").result(), u"%x");

    TFormatString twelve(u"%12%1%10");
    for (int i = 1; i <= 12; ++i)
        twelve.arg(i);
    EXPECT_EQ(twelve.result(), u"12110");
}

TEST(TFormatString, FormatsNumbers)
{
    EXPECT_EQ(TFormatString(u"%1").arg(-42, 6, 10, u'0').result(), u"-00042") << "zeros stand behind the sign";
    EXPECT_EQ(TFormatString(u"%1|").arg(42, -6).result(), u"42    |");
    EXPECT_EQ(TFormatString(u"%1|").arg(5, -4, 10, u'0').result(), u"5   |") << "never another number";
    EXPECT_EQ(TFormatString(u"0x%1").arg(0xFDD4U, 8, 16, u'0').result(), u"0x0000fdd4");
    EXPECT_EQ(TFormatString(u"%1").arg(2.5, 8, 'f', 2).result(), u"    2.50");
    EXPECT_EQ(TFormatString(u"%1").arg(-std::numeric_limits<double>::infinity(), 6, 'f', 2, u'0').result(), u"  -inf");
    EXPECT_EQ(TFormatString(u"%1").arg(0.1).result(), u"0.1");
}
