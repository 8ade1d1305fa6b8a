// Guards that end the process: nothing may be raised from the end of a scope.

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <stdexcept>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "orvane/exception/condition.h"
#include "support/logrecorder.h"

using Condition::CbInvariant;
using testing::AllOf;
using testing::HasSubstr;

namespace
{
// Says that the scope was left, where it should not have been.
void leaveScope(char const* name)
{
    std::fprintf(stderr, "survived %s\n", name);
    std::exit(0);
}

void failStrictlyOnExit()
{
    CLogRecorder const quiet;
    bool holds = true;
    {
        CbInvariant<2> const invariant("alpha", 7, "Alpha::Run", [&holds] { return holds; });
        std::fprintf(stderr, "entered\n");
        holds = false;
    }
    leaveScope("the strict guard");
}

void failStrictlyOnExitInsideATry()
{
    CLogRecorder const quiet;
    bool holds = true;
    try
    {
        CbInvariant<2> const invariant("alpha", 7, "Alpha::Run", [&holds] { return holds; });
        std::fprintf(stderr, "entered\n");
        holds = false;
    }
    catch (...)
    {
        leaveScope("by catching");
    }
    leaveScope("the strict guard");
}

void failStrictlyWhileUnwinding()
{
    CLogRecorder const quiet;
    bool holds = true;
    try
    {
        CbInvariant<2> const invariant("alpha", 7, "Alpha::Run", [&holds] { return holds; });
        std::fprintf(stderr, "entered\n");
        holds = false;
        throw std::runtime_error("on the way");
    }
    catch (...)
    {
        leaveScope("by catching");
    }
}

void failStrictlyAsACopy()
{
    CLogRecorder const quiet;
    bool holds = true;
    CbInvariant<2> const original("alpha", 7, "Alpha::Run", [&holds] { return holds; });
    {
        CbInvariant<2> const copy(original);
        std::fprintf(stderr, "entered\n");
        holds = false;
    }
    leaveScope("the copy");
}

// The guard's predicate asks another one, which is empty when the scope is left. (A guard's own predicate cannot become
// empty: it is refused at the beginning, and copies copy it.)
template <int N>
void emptyThePredicate()
{
    CLogRecorder const quiet;
    std::function<bool()> predicate = [] { return true; };
    {
        CbInvariant<N> const invariant("alpha", 7, "Alpha::Run", [&predicate] { return predicate(); });
        std::fprintf(stderr, "entered\n");
        predicate = nullptr;
    }
    leaveScope("the empty predicate");
}

void throwFromThePredicate()
{
    CLogRecorder const quiet;
    bool throws = false;
    {
        CbInvariant<0> const invariant("alpha", 7, "Alpha::Run",
                                       [&throws]
                                       {
                                           if (throws)
                                           {
                                               throw std::runtime_error("broken");
                                           }
                                           return true;
                                       });
        std::fprintf(stderr, "entered\n");
        throws = true;
    }
    leaveScope("the predicate");
}

void throwFromASink()
{
    class CFailingSink : public Logging::ISink
    {
    public:
        void Write(Logging::SRecord const&) override
        {
            throw std::domain_error("no room");
        }
    };

    CLogRecorder const quiet;
    bool holds = true;
    {
        CbInvariant<0> const invariant("alpha", 7, "Alpha::Run", [&holds] { return holds; });
        std::fprintf(stderr, "entered\n");
        Logging::CLogger::AddSink(std::make_shared<CFailingSink>());
        holds = false;
    }
    leaveScope("the sink");
}
} // namespace

TEST(CbInvariantDeath, ComesWhenTheStrictGuardFailsOnLeavingTheScope)
{
    EXPECT_DEATH(failStrictlyOnExit(), AllOf(HasSubstr("entered"), HasSubstr("CbExceptionCondition")));
}

TEST(CbInvariantDeath, CannotBeCaught)
{
    EXPECT_DEATH(failStrictlyOnExitInsideATry(), AllOf(HasSubstr("entered"), HasSubstr("CbExceptionCondition")));
}

TEST(CbInvariantDeath, ComesWhileAnotherExceptionLeavesTheScope)
{
    EXPECT_DEATH(failStrictlyWhileUnwinding(), "entered");
}

TEST(CbInvariantDeath, ComesWithTheCopyOfAStrictGuard)
{
    EXPECT_DEATH(failStrictlyAsACopy(), AllOf(HasSubstr("entered"), HasSubstr("CbExceptionCondition")));
}

TEST(CbInvariantDeath, ComesWhereThePredicateIsEmptyOnLeavingTheScope)
{
    EXPECT_DEATH(emptyThePredicate<0>(), AllOf(HasSubstr("entered"), HasSubstr("bad_function_call")));
    EXPECT_DEATH(emptyThePredicate<1>(), AllOf(HasSubstr("entered"), HasSubstr("bad_function_call")));
    EXPECT_DEATH(emptyThePredicate<2>(), AllOf(HasSubstr("entered"), HasSubstr("bad_function_call")));
}

TEST(CbInvariantDeath, ComesWhereThePredicateThrowsOnLeavingTheScope)
{
    EXPECT_DEATH(throwFromThePredicate(), AllOf(HasSubstr("entered"), HasSubstr("runtime_error")));
}

TEST(CbInvariantDeath, ComesWhereASinkThrowsAtTheWarningOnLeavingTheScope)
{
    EXPECT_DEATH(throwFromASink(), AllOf(HasSubstr("entered"), HasSubstr("domain_error")));
}
