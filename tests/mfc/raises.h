// EXPECT_RESULT_RAISED: a statement throws CAtlException with one result code.

#ifndef ORVANE_TESTS_MFC_RAISES_H
#define ORVANE_TESTS_MFC_RAISES_H

#include <gtest/gtest.h>

#include "mfc/catlexception.h"

#define EXPECT_RESULT_RAISED(result, ...)                                                                              \
    do                                                                                                                 \
    {                                                                                                                  \
        try                                                                                                            \
        {                                                                                                              \
            static_cast<void>(__VA_ARGS__);                                                                            \
            ADD_FAILURE() << #__VA_ARGS__ " raises nothing";                                                           \
        }                                                                                                              \
        catch (CAtlException const& raised)                                                                            \
        {                                                                                                              \
            EXPECT_EQ(raised.m_hr, result);                                                                            \
        }                                                                                                              \
    } while (false)

#endif // ORVANE_TESTS_MFC_RAISES_H
