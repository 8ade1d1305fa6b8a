// Unfulfilled conditions and the guards that check a scope at both ends. What ends the process is in
// invariantdeath_test.cpp.

#include "orvane/exception/condition.h"

#include <cstddef>
#include <memory>
#include <stdexcept>
#include <type_traits>
#include <typeinfo>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "orvane/exception/cbexceptioncondition.h"
#include "platform/platform.h"
#include "support/layout.h"
#include "support/logline.h"
#include "support/raises.h"

using Condition::CbInvariant;
using Condition::EConditionHandling;
using Condition::HandleUnfulfilledCondition;
using testing::ElementsAre;
using testing::IsEmpty;

static_assert(Condition::eHandlingWarn == 0 && Condition::eHandlingWarnAlt == 1 && Condition::eHandlingThrow == 2);
// Stray values are handled, so casting one in has to be defined.
static_assert(std::is_same_v<std::underlying_type_t<EConditionHandling>, unsigned int>);

using Predicate = std::function<bool()>;
static_assert(std::is_constructible_v<CbInvariant<0>, char const*, unsigned int, char const*, Predicate>);
static_assert(!std::is_default_constructible_v<CbInvariant<0>>);
static_assert(std::is_copy_constructible_v<CbInvariant<0>> && std::is_copy_assignable_v<CbInvariant<0>>);
static_assert(std::has_virtual_destructor_v<CbInvariant<0>> && std::has_virtual_destructor_v<CbInvariant<1>>);
static_assert(std::has_virtual_destructor_v<CbInvariant<2>>);
static_assert(std::is_nothrow_destructible_v<CbInvariant<2>>);

// The unchecked guard is a type that can be assigned, both ways, and checks nothing.
static_assert(std::is_copy_assignable_v<CbInvariant<3>> && std::is_move_assignable_v<CbInvariant<3>>);
static_assert(!std::is_constructible_v<CbInvariant<3>, char const*, unsigned int, char const*, Predicate>);
static_assert(std::is_trivially_destructible_v<CbInvariant<3>>);

namespace
{
// The fields as clients find them; the predicate follows.
struct SLayout
{
    void* table;
    CStringA file;
    unsigned int line;
    CStringA function;
};

static_assert(sizeof(CbInvariant<0>) == sizeof(SLayout) + sizeof(Predicate));
static_assert(sizeof(CbInvariant<1>) == sizeof(CbInvariant<0>) && sizeof(CbInvariant<2>) == sizeof(CbInvariant<0>));

SLogLine warning(std::string const& file, int line, std::string const& function)
{
    return {L"Condition", Logging::eLevelWarn, file, line, function, L"Unfulfilled Condition"};
}

class HandleUnfulfilledConditionTest : public testing::Test
{
protected:
    CLogRecorder m_recorder;
};

class CbInvariantTest : public testing::Test
{
protected:
    std::size_t warnings() const
    {
        return m_recorder.GetRecords(L"Condition").size();
    }

    // Counts its calls.
    Predicate counting(bool result)
    {
        return [this, result]
        {
            ++m_calls;
            return result;
        };
    }

    CLogRecorder m_recorder;
    int m_calls = 0;
};

using CbInvariantWarning = CbInvariantTest;
using CbInvariantStrict = CbInvariantTest;
using CbInvariantCopy = CbInvariantTest;
using CbInvariantPredicate = CbInvariantTest;
using CbInvariantLayout = CbInvariantTest;
} // namespace

// ---- one function for all

TEST_F(HandleUnfulfilledConditionTest, WarnsAndReturns)
{
    HandleUnfulfilledCondition("c:\\src\\alpha", 7, "Alpha::Run", Condition::eHandlingWarn);

    EXPECT_THAT(linesOf(m_recorder), ElementsAre(SLogLine{L"Condition", Logging::eLevelWarn, "c:\\src\\alpha", 7,
                                                          "Alpha::Run", L"Unfulfilled Condition"}));
}

TEST_F(HandleUnfulfilledConditionTest, WarnsAndReturnsInItsOtherFormToo)
{
    HandleUnfulfilledCondition("alpha", 7, "Alpha::Run", Condition::eHandlingWarnAlt);

    EXPECT_THAT(linesOf(m_recorder), ElementsAre(warning("alpha", 7, "Alpha::Run")));
}

TEST_F(HandleUnfulfilledConditionTest, WarnsAndReturnsForValuesThatMeanNothing)
{
    HandleUnfulfilledCondition("alpha", 7, "Alpha::Run", static_cast<EConditionHandling>(3));
    HandleUnfulfilledCondition("beta", 8, "Beta::Run", static_cast<EConditionHandling>(7));
    HandleUnfulfilledCondition("gamma", 9, "Gamma::Run", static_cast<EConditionHandling>(0xFFFFFFFFu));

    EXPECT_THAT(linesOf(m_recorder), ElementsAre(warning("alpha", 7, "Alpha::Run"), warning("beta", 8, "Beta::Run"),
                                                 warning("gamma", 9, "Gamma::Run")));
}

TEST_F(HandleUnfulfilledConditionTest, LetsThroughWhatASinkThrowsAtTheWarning)
{
    class CFailingSink : public Logging::ISink
    {
    public:
        void Write(Logging::SRecord const&) override
        {
            throw std::domain_error("no room");
        }
    };

    auto const sink = std::make_shared<CFailingSink>();
    Logging::CLogger::AddSink(sink);
    EXPECT_THROW(HandleUnfulfilledCondition("alpha", 7, "Alpha::Run", Condition::eHandlingWarn), std::domain_error);
    EXPECT_THROW(HandleUnfulfilledCondition("alpha", 7, "Alpha::Run", Condition::eHandlingThrow), std::domain_error);
    EXPECT_THROW(CbInvariant<0>("alpha", 7, "Alpha::Run", [] { return false; }), std::domain_error);
    Logging::CLogger::RemoveSink(sink);
}

TEST_F(HandleUnfulfilledConditionTest, ThrowsTheSiteThatItWasGiven)
{
    EXPECT_RAISES(CbExceptionCondition, "c:\\src\\alpha", "Alpha::Run",
                  HandleUnfulfilledCondition("c:\\src\\alpha", 7, "Alpha::Run", Condition::eHandlingThrow));
}

TEST_F(HandleUnfulfilledConditionTest, ThrowsTheLineThatItWasGiven)
{
    try
    {
        HandleUnfulfilledCondition("alpha", 7, "Alpha::Run", Condition::eHandlingThrow);
        FAIL() << "nothing is raised";
    }
    catch (CbExceptionCondition const& raised)
    {
        EXPECT_EQ(raised.GetCodeLine(), 7u);
        EXPECT_EQ(raised.GetHistory(), nullptr);
    }
}

TEST_F(HandleUnfulfilledConditionTest, WritesTheWarningThenTheLinesOfTheExceptionThenThrows)
{
    std::vector<SLogLine> atCatch;
    try
    {
        HandleUnfulfilledCondition("alpha", 7, "Alpha::Run", Condition::eHandlingThrow);
    }
    catch (CbExceptionCondition const&)
    {
        atCatch = linesOf(m_recorder);
    }

    EXPECT_THAT(
        atCatch,
        ElementsAre(
            warning("alpha", 7, "Alpha::Run"),
            SLogLine{L"Analytics", Logging::eLevelInfo, "alpha", 7, "",
                     LR"({"logtype":"application", "actiontype":"exception", "data":{"type":"CbExceptionCondition",)"
                     LR"("message":""}})"},
            SLogLine{L"Exception", Logging::eLevelError, "alpha", 7, "Alpha::Run",
                     L"Exception: 'CbExceptionCondition' (alpha:7)\n"}));
}

TEST_F(HandleUnfulfilledConditionTest, RaisesWhatClientsCatchByTypeOnTheirSideOfTheLibrary)
{
    EXPECT_THROW(HandleUnfulfilledCondition("alpha", 7, "f", Condition::eHandlingThrow), CbExceptionCondition);
    EXPECT_THROW(HandleUnfulfilledCondition("alpha", 7, "f", Condition::eHandlingThrow), CbException);
    EXPECT_THROW(HandleUnfulfilledCondition("alpha", 7, "f", Condition::eHandlingThrow), IException);
    EXPECT_THROW(HandleUnfulfilledCondition("alpha", 7, "f", Condition::eHandlingThrow), IObject);
}

TEST_F(HandleUnfulfilledConditionTest, IsNotSilencedInItsEffectByTheLevel)
{
    CScopedLevel const noWarnings(L"Condition", Logging::eLevelOff);

    EXPECT_THROW(HandleUnfulfilledCondition("alpha", 7, "f", Condition::eHandlingThrow), CbExceptionCondition);
    EXPECT_EQ(m_recorder.GetRecords(L"Condition").size(), 0u);
}

TEST_F(HandleUnfulfilledConditionTest, UsesOneLoggerForTheWholeLibrary)
{
    EXPECT_EQ(Logging::CLogger::GetInstanceCount(L"Condition"), 1u);
    HandleUnfulfilledCondition("alpha", 7, "f", Condition::eHandlingWarn);
    HandleUnfulfilledCondition("alpha", 7, "f", Condition::eHandlingWarn);
    EXPECT_EQ(Logging::CLogger::GetInstanceCount(L"Condition"), 1u);
}

// ---- guards that warn

TEST_F(CbInvariantWarning, ChecksOnceWhenMadeAndOnceWhenDestroyed)
{
    {
        CbInvariant<0> const invariant("alpha", 7, "Alpha::Run", counting(true));
        EXPECT_EQ(m_calls, 1);
    }
    EXPECT_EQ(m_calls, 2);
    EXPECT_THAT(linesOf(m_recorder), IsEmpty());
}

TEST_F(CbInvariantWarning, WarnsTwiceWhereThePredicateIsFalseThroughout)
{
    {
        CbInvariant<0> const invariant("alpha", 7, "Alpha::Run", counting(false));
        EXPECT_EQ(warnings(), 1u);
    }

    EXPECT_THAT(linesOf(m_recorder), ElementsAre(warning("alpha", 7, "Alpha::Run"), warning("alpha", 7, "Alpha::Run")));
}

TEST_F(CbInvariantWarning, WarnsTwiceInItsOtherFormToo)
{
    {
        CbInvariant<1> const invariant("alpha", 7, "Alpha::Run", counting(false));
    }

    EXPECT_THAT(linesOf(m_recorder), ElementsAre(warning("alpha", 7, "Alpha::Run"), warning("alpha", 7, "Alpha::Run")));
}

TEST_F(CbInvariantWarning, WarnsOnceWhereItIsFalseOnEntryAndTrueOnExit)
{
    bool holds = false;
    {
        CbInvariant<1> const invariant("alpha", 7, "Alpha::Run", [&holds] { return holds; });
        holds = true;
    }

    EXPECT_THAT(linesOf(m_recorder), ElementsAre(warning("alpha", 7, "Alpha::Run")));
}

TEST_F(CbInvariantWarning, WarnsOnceWhereItIsTrueOnEntryAndFalseOnExit)
{
    bool holds = true;
    {
        CbInvariant<0> const invariant("alpha", 7, "Alpha::Run", [&holds] { return holds; });
        holds = false;
        EXPECT_EQ(warnings(), 0u);
    }

    EXPECT_THAT(linesOf(m_recorder), ElementsAre(warning("alpha", 7, "Alpha::Run")));
}

TEST_F(CbInvariantWarning, ChecksWhenAnExceptionLeavesTheScope)
{
    bool holds = true;
    try
    {
        CbInvariant<0> const invariant("alpha", 7, "Alpha::Run", [&holds] { return holds; });
        holds = false;
        throw std::runtime_error("on the way");
    }
    catch (std::runtime_error const&)
    {
        EXPECT_EQ(warnings(), 1u);
    }
}

TEST_F(CbInvariantWarning, ChecksBeforeItsPredicateIsReleased)
{
    auto const state = std::make_shared<int>(1);
    long usersAtCheck = 0;
    {
        CbInvariant<0> const invariant("alpha", 7, "Alpha::Run",
                                       [state, &usersAtCheck]
                                       {
                                           usersAtCheck = state.use_count();
                                           return true;
                                       });
        usersAtCheck = 0;
    }

    EXPECT_EQ(usersAtCheck, 2);
    EXPECT_EQ(state.use_count(), 1);
}

TEST_F(CbInvariantWarning, IsDestroyedWholeThroughItsBase)
{
    class CDerived : public CbInvariant<0>
    {
    public:
        using CbInvariant<0>::CbInvariant;
    };

    CbInvariant<0>* const invariant = new CDerived("alpha", 7, "Alpha::Run", counting(true));
    delete invariant;

    EXPECT_EQ(m_calls, 2);
}

// ---- the strict guard

TEST_F(CbInvariantStrict, ThrowsOnEntryWhereThePredicateIsFalse)
{
    EXPECT_RAISES(CbExceptionCondition, "alpha", "Alpha::Run",
                  CbInvariant<2>("alpha", 7, "Alpha::Run", counting(false)));

    // Refused in the constructor, so there is no object to check again.
    EXPECT_EQ(m_calls, 1);
    EXPECT_EQ(warnings(), 1u);
}

TEST_F(CbInvariantStrict, ChecksTwiceWhereThePredicateHolds)
{
    {
        CbInvariant<2> const invariant("alpha", 7, "Alpha::Run", counting(true));
    }

    EXPECT_EQ(m_calls, 2);
    EXPECT_THAT(linesOf(m_recorder), IsEmpty());
}

// ---- copies

TEST_F(CbInvariantCopy, DoesNotCheckWhenMadeButWhenDestroyed)
{
    CbInvariant<0> const original("alpha", 7, "Alpha::Run", counting(true));
    ASSERT_EQ(m_calls, 1);
    {
        CbInvariant<0> const copy(original);
        EXPECT_EQ(m_calls, 1);
    }
    EXPECT_EQ(m_calls, 2);
}

TEST_F(CbInvariantCopy, WarnsWithTheSiteOfTheOriginal)
{
    bool holds = true;
    CbInvariant<0> const original("alpha", 7, "Alpha::Run", [&holds] { return holds; });
    {
        CbInvariant<0> const copy(original);
        holds = false;
    }
    holds = true;

    EXPECT_THAT(linesOf(m_recorder), ElementsAre(warning("alpha", 7, "Alpha::Run")));
}

TEST_F(CbInvariantCopy, HasACopyOfThePredicate)
{
    // A predicate that counts in itself: copies count apart.
    int seen = 0;

    struct SCounter
    {
        int* seen;
        int calls = 0;

        bool operator()()
        {
            *seen = ++calls;
            return true;
        }
    };

    CbInvariant<0> const original("alpha", 7, "Alpha::Run", SCounter{&seen});
    {
        CbInvariant<0> const first(original);
    }
    EXPECT_EQ(seen, 2);
    {
        CbInvariant<0> const second(original);
    }
    EXPECT_EQ(seen, 2);
}

TEST_F(CbInvariantCopy, ByMoveLeavesTheSourceChecking)
{
    {
        CbInvariant<0> source("alpha", 7, "Alpha::Run", counting(true));
        CbInvariant<0> const target(std::move(source));
        EXPECT_EQ(m_calls, 1);
    }
    EXPECT_EQ(m_calls, 3);
}

TEST_F(CbInvariantCopy, ByAssignmentTakesSiteAndPredicateAndDoesNotCheck)
{
    bool holds = true;
    {
        CbInvariant<0> const original("alpha", 7, "Alpha::Run", [&holds] { return holds; });
        CbInvariant<0> target("beta", 8, "Beta::Run", counting(true));
        ASSERT_EQ(m_calls, 1);
        target = original;
        EXPECT_EQ(m_calls, 1);
        holds = false;
    }

    EXPECT_EQ(m_calls, 1);
    EXPECT_THAT(linesOf(m_recorder), ElementsAre(warning("alpha", 7, "Alpha::Run"), warning("alpha", 7, "Alpha::Run")));
}

// ---- predicates

TEST_F(CbInvariantPredicate, ThatIsEmptyIsRefusedWhenMade)
{
    EXPECT_THROW(CbInvariant<0>("alpha", 7, "Alpha::Run", Predicate()), std::bad_function_call);
    EXPECT_THROW(CbInvariant<1>("alpha", 7, "Alpha::Run", nullptr), std::bad_function_call);
    EXPECT_THROW(CbInvariant<2>("alpha", 7, "Alpha::Run", Predicate()), std::bad_function_call);
    EXPECT_THAT(linesOf(m_recorder), IsEmpty());
}

TEST_F(CbInvariantPredicate, ThatThrowsWhenMadeIsLetPass)
{
    EXPECT_THROW(CbInvariant<0>("alpha", 7, "Alpha::Run", []() -> bool { throw std::runtime_error("broken"); }),
                 std::runtime_error);
    EXPECT_THAT(linesOf(m_recorder), IsEmpty());
}

// ---- layout

TEST_F(CbInvariantLayout, HoldsItsFieldsInPublishedOrder)
{
    CbInvariant<0> const invariant("alpha", 7, "Run", counting(true));

    EXPECT_EQ(fieldAt<CStringA>(&invariant, offsetof(SLayout, file)), "alpha");
    EXPECT_EQ(fieldAt<unsigned int>(&invariant, offsetof(SLayout, line)), 7u);
    EXPECT_EQ(fieldAt<CStringA>(&invariant, offsetof(SLayout, function)), "Run");
    EXPECT_TRUE(fieldAt<Predicate>(&invariant, sizeof(SLayout))());
    EXPECT_EQ(m_calls, 2);
}

TEST(CbInvariantUnchecked, CanBeAssigned)
{
    CbInvariant<3> first{};
    CbInvariant<3> second{};
    CLogRecorder const recorder;
    first = second;
    first = std::move(second);

    EXPECT_THAT(linesOf(recorder), IsEmpty());
}
