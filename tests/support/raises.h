// Expectations about raise sites.

#ifndef ORVANE_TESTS_SUPPORT_RAISES_H
#define ORVANE_TESTS_SUPPORT_RAISES_H

#include <gtest/gtest.h>

/// `statement` raises exactly `Kind` (not one derived from it) from the file stem `file` and the function `function`, on
/// this thread, with a line.
#define EXPECT_RAISES(Kind, file, function, statement)                                                                 \
    do                                                                                                                 \
    {                                                                                                                  \
        bool hasRaised = false;                                                                                        \
        try                                                                                                            \
        {                                                                                                              \
            statement;                                                                                                 \
        }                                                                                                              \
        catch (Kind const& raised)                                                                                     \
        {                                                                                                              \
            hasRaised = true;                                                                                          \
            EXPECT_EQ(typeid(raised), typeid(Kind));                                                                   \
            EXPECT_STREQ(raised.GetFilename(), file);                                                                  \
            EXPECT_STREQ(raised.GetFunctionName(), function);                                                          \
            EXPECT_GT(raised.GetCodeLine(), 0u);                                                                       \
            EXPECT_EQ(raised.GetThreadID(), static_cast<unsigned int>(GetCurrentThreadId()));                          \
        }                                                                                                              \
        catch (...)                                                                                                    \
        {                                                                                                              \
            hasRaised = true;                                                                                          \
            ADD_FAILURE() << #statement " raises something else than " #Kind;                                          \
        }                                                                                                              \
        EXPECT_TRUE(hasRaised) << #statement " raises nothing";                                                        \
    } while (false)

#endif // ORVANE_TESTS_SUPPORT_RAISES_H
