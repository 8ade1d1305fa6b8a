// What the tests of this folder share.

#ifndef ORVANE_TESTS_ORVANE_CONTAINER_CONTAINERTEST_H
#define ORVANE_TESTS_ORVANE_CONTAINER_CONTAINERTEST_H

#include <cstdio>
#include <functional>
#include <random>
#include <stdexcept>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "orvane/exception/cbexceptioncontainer.h"
#include "support/logline.h"

/// `statement` raises CbExceptionContainer from that file, line and function, and writes its one log line.
#define EXPECT_RAISES_CONTAINER(sourceFile, codeLine, function, statement)                                             \
    do                                                                                                                 \
    {                                                                                                                  \
        CLogRecorder const recorder;                                                                                   \
        bool hasRaised = false;                                                                                        \
        try                                                                                                            \
        {                                                                                                              \
            statement;                                                                                                 \
        }                                                                                                              \
        catch (CbExceptionContainer const& raised)                                                                     \
        {                                                                                                              \
            hasRaised = true;                                                                                          \
            EXPECT_STREQ(raised.GetFilename(), sourceFile);                                                            \
            EXPECT_EQ(raised.GetCodeLine(), codeLine);                                                                 \
            EXPECT_STREQ(raised.GetFunctionName(), function);                                                          \
        }                                                                                                              \
        EXPECT_TRUE(hasRaised) << #statement " raises nothing";                                                        \
        EXPECT_EQ(linesOf(recorder), std::vector<SLogLine>({{L"Exception", Logging::eLevelError, sourceFile, codeLine, \
                                                             function, L"Out of memory"}}));                           \
    } while (false)

/// Stands in for the thread pool, whose entries are private: failures name them. They have the size of a pointer.
class CbThreadPool
{
public:
    struct STaskEntry
    {
        void* task;
    };
};

namespace containertest
{
/// Counts those that stand for something: what was moved from does not.
class CCounted
{
public:
    explicit CCounted(int number = 0, std::function<void()> atEnd = nullptr)
        : m_number(number),
          m_atEnd(std::move(atEnd))
    {
        ++s_count;
    }

    CCounted(CCounted&& other) noexcept
        : m_number(other.m_number),
          m_stands(std::exchange(other.m_stands, false)),
          m_atEnd(std::exchange(other.m_atEnd, nullptr))
    {
    }

    CCounted& operator=(CCounted&& other) noexcept
    {
        std::swap(m_number, other.m_number);
        std::swap(m_stands, other.m_stands);
        std::swap(m_atEnd, other.m_atEnd);
        return *this;
    }

    CCounted(CCounted const&) = delete;
    CCounted& operator=(CCounted const&) = delete;

    ~CCounted()
    {
        if (m_stands)
        {
            --s_count;
            if (m_atEnd)
            {
                m_atEnd();
            }
        }
    }

    int GetNumber() const
    {
        return m_number;
    }

    static int GetCount()
    {
        return s_count;
    }

private:
    int m_number;
    bool m_stands = true;
    std::function<void()> m_atEnd; // called when the one that stands is destroyed

    static inline int s_count = 0;
};

/// A copy raises; there is no move.
class CUncopyable
{
public:
    CUncopyable() = default;

    CUncopyable(CUncopyable const&)
    {
        throw std::runtime_error("no copies");
    }

    CUncopyable& operator=(CUncopyable const&)
    {
        throw std::runtime_error("no copies");
    }
};

/// Random numbers for a test; --gtest_random_seed repeats a run.
class CRandom
{
public:
    CRandom()
    {
        int const given = GTEST_FLAG_GET(random_seed);
        unsigned int const seed = given != 0 ? static_cast<unsigned int>(given) : 1 + std::random_device()() % 99'999;
        std::printf("repeat with --gtest_random_seed=%u\n", seed);
        m_numbers.seed(seed);
    }

    /// A number below `limit`.
    unsigned int Below(unsigned int limit)
    {
        return static_cast<unsigned int>(m_numbers()) % limit;
    }

private:
    std::mt19937 m_numbers;
};
} // namespace containertest

#endif // ORVANE_TESTS_ORVANE_CONTAINER_CONTAINERTEST_H
