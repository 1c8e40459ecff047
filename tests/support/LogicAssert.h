#pragma once

#include "brvcore/foundation/LogicException.h"

#include <gtest/gtest.h>

// The statement must throw LogicException with this site code and this message, which is what a host sees.
#define EXPECT_LOGIC_ASSERT(statement, code, text)                                                                     \
    do                                                                                                                 \
    {                                                                                                                  \
        try                                                                                                            \
        {                                                                                                              \
            static_cast<void>(statement);                                                                              \
            ADD_FAILURE() << "no exception: " #statement;                                                              \
        }                                                                                                              \
        catch (const LogicException& exception)                                                                        \
        {                                                                                                              \
            EXPECT_EQ(exception.GetError().GetCode(), static_cast<std::uint32_t>(code));                               \
            EXPECT_STREQ(exception.what(), text);                                                                      \
        }                                                                                                              \
    } while (false)
