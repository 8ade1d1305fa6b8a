// The full family: what an exception keeps, and how it is copied. What it logs is in exceptionlog_test.cpp.

#include "orvane/exception/cbexception.h"

#include <cstddef>
#include <thread>
#include <type_traits>
#include <typeinfo>
#include <vector>

#include <gtest/gtest.h>

#include "orvane/exception/cbexceptioncondition.h"
#include "orvane/exception/cbexceptionnotimplemented.h"
#include "orvane/exception/cbexceptionpreconditionviolation.h"
#include "orvane/exception/cbexceptionstd.h"
#include "orvane/exception/cbexceptionstream.h"
#include "orvane/exception/cbexceptionunknownextension.h"
#include "orvane/exception/testkinds.h"
#include "orvane/object/classrecord.h"
#include "platform/platform.h"
#include "support/layout.h"
#include "support/logrecorder.h"

static_assert(std::is_base_of_v<IException, CbException> && std::is_base_of_v<IObject, CbException>);
static_assert(!std::is_default_constructible_v<CbException>);
static_assert(!std::is_default_constructible_v<CbExceptionCondition>);
static_assert(!std::is_default_constructible_v<CbExceptionNotImplemented>);
static_assert(!std::is_default_constructible_v<CbExceptionPreconditionViolation>);
static_assert(!std::is_default_constructible_v<CbExceptionUnknownExtension>);
static_assert(!std::is_default_constructible_v<CbExceptionStd>);
static_assert(!std::is_abstract_v<CbException> && std::is_nothrow_destructible_v<CbException>);
static_assert(std::is_copy_constructible_v<CbException> && std::is_copy_assignable_v<CbException>);
static_assert(std::is_move_constructible_v<CbException> && std::is_move_assignable_v<CbException>);

// The four public forms, and none of those that kinds with records of their own use.
using Line = unsigned int;
static_assert(std::is_constructible_v<CbException, char const*, Line, char const*>);
static_assert(std::is_constructible_v<CbException, char const*, Line, char const*, IException const&>);
static_assert(std::is_constructible_v<CbException, char const*, Line, char const*, IException const&, wchar_t const*>);
static_assert(std::is_constructible_v<CbException, char const*, Line, char const*, wchar_t const*>);
static_assert(!std::is_constructible_v<CbException, char const*, Line, char const*, CbRTTI const&>);
static_assert(!std::is_constructible_v<CbException, char const*, Line, char const*, CbRTTI const&, wchar_t const*>);
static_assert(!std::is_constructible_v<CbException, char const*, Line, char const*, IException const&, CbRTTI const&>);
static_assert(!std::is_constructible_v<CbException, char const*, Line, char const*, IException const&, CbRTTI const&,
                                       wchar_t const*>);

// The kinds take what their table says and no more.
static_assert(!std::is_constructible_v<CbExceptionCondition, char const*, Line, char const*, CbException const&>);
static_assert(!std::is_constructible_v<CbExceptionCondition, char const*, Line, char const*, wchar_t const*>);
static_assert(std::is_constructible_v<CbExceptionNotImplemented, char const*, Line, char const*, CbException const&>);
static_assert(!std::is_constructible_v<CbExceptionNotImplemented, char const*, Line, char const*, IException const&>);
static_assert(
    std::is_constructible_v<CbExceptionPreconditionViolation, char const*, Line, char const*, CbException const&>);
static_assert(
    !std::is_constructible_v<CbExceptionPreconditionViolation, char const*, Line, char const*, IException const&>);
static_assert(
    !std::is_constructible_v<CbExceptionUnknownExtension, char const*, Line, char const*, CbException const&>);

namespace
{
// The fields as clients find them: behind the tables of the two bases.
struct SLayout
{
    void* exceptionTable;
    void* objectTable;
    CStringA file;
    unsigned int line;
    CStringA function;
    unsigned int threadId;
    std::shared_ptr<IException> history;
};

static_assert(sizeof(CbException) == sizeof(SLayout));
static_assert(sizeof(CbExceptionCondition) == sizeof(CbException));
static_assert(sizeof(CbExceptionNotImplemented) == sizeof(CbException));
static_assert(sizeof(CbExceptionPreconditionViolation) == sizeof(CbException));
static_assert(sizeof(CbExceptionUnknownExtension) == sizeof(CbException));

unsigned int thisThread()
{
    return static_cast<unsigned int>(GetCurrentThreadId());
}

// Every test here raises; the log is not looked at.
class CbExceptionTest : public testing::Test
{
protected:
    CLogRecorder m_recorder;
};

using CbExceptionConstructor = CbExceptionTest;
using CbExceptionCopy = CbExceptionTest;
using CbExceptionMove = CbExceptionTest;
using CbExceptionClone = CbExceptionTest;
using CbExceptionHistory = CbExceptionTest;
using CbExceptionLayout = CbExceptionTest;
using CbExceptionThread = CbExceptionTest;
using CbExceptionCatch = CbExceptionTest;

class ProtectedForms : public CbExceptionTest
{
};
} // namespace

// ---- construction

TEST_F(CbExceptionConstructor, KeepsFileLineAndFunctionAsPassed)
{
    CbException const exception("c:\\src\\alpha.cpp", 7, "Alpha::Run");

    EXPECT_STREQ(exception.GetFilename(), "c:\\src\\alpha.cpp");
    EXPECT_EQ(exception.GetCodeLine(), 7u);
    EXPECT_STREQ(exception.GetFunctionName(), "Alpha::Run");
    EXPECT_EQ(exception.GetHistory(), nullptr);
}

TEST_F(CbExceptionConstructor, CopiesTheTexts)
{
    char file[] = "alpha";
    char function[] = "Run";
    CbException const exception(file, 7, function);
    file[0] = 'X';
    function[0] = 'X';

    EXPECT_STREQ(exception.GetFilename(), "alpha");
    EXPECT_STREQ(exception.GetFunctionName(), "Run");
}

TEST_F(CbExceptionConstructor, KeepsTheIdOfTheCallingThread)
{
    EXPECT_EQ(CbException("file", 1, "function").GetThreadID(), thisThread());
}

TEST_F(CbExceptionConstructor, TakesNullTextsForEmptyOnes)
{
    CbException const exception(nullptr, 1, nullptr);

    EXPECT_STREQ(exception.GetFilename(), "");
    EXPECT_STREQ(exception.GetFunctionName(), "");
}

TEST_F(CbExceptionConstructor, TakesEveryLine)
{
    EXPECT_EQ(CbException("file", 0, "function").GetCodeLine(), 0u);
    EXPECT_EQ(CbException("file", 4'294'967'295u, "function").GetCodeLine(), 4'294'967'295u);
}

TEST_F(CbExceptionConstructor, WithACauseKeepsACloneOfIt)
{
    CbException const inner("inner", 1, "Inner::Run");
    CbException const exception("outer", 2, "Outer::Run", inner);

    ASSERT_NE(exception.GetHistory(), nullptr);
    EXPECT_NE(exception.GetHistory().get(), static_cast<IException const*>(&inner));
    EXPECT_STREQ(exception.GetHistory()->GetFilename(), "inner");
    EXPECT_EQ(exception.GetHistory()->GetCodeLine(), 1u);
    EXPECT_STREQ(exception.GetHistory()->GetFunctionName(), "Inner::Run");
    EXPECT_STREQ(exception.GetFilename(), "outer");
    EXPECT_EQ(exception.GetCodeLine(), 2u);
    EXPECT_STREQ(exception.GetFunctionName(), "Outer::Run");
}

TEST_F(CbExceptionConstructor, WithACauseAndAMessageKeepsACloneOfTheCause)
{
    CbException const exception("outer", 2, "Outer::Run", CbExceptionCondition("inner", 1, "Inner::Run"), L"message");

    ASSERT_NE(exception.GetHistory(), nullptr);
    EXPECT_STREQ(exception.GetHistory()->GetFilename(), "inner");
    EXPECT_EQ(exception.GetCodeLine(), 2u);
}

TEST_F(CbExceptionConstructor, WithAMessageHasNoHistory)
{
    CbException const exception("alpha", 7, "Alpha::Run", L"message");

    EXPECT_EQ(exception.GetHistory(), nullptr);
    EXPECT_STREQ(exception.GetFilename(), "alpha");
    EXPECT_EQ(exception.GetCodeLine(), 7u);
    EXPECT_STREQ(exception.GetFunctionName(), "Alpha::Run");
}

TEST_F(CbExceptionConstructor, LetsPassWhatTheCausesCloneThrows)
{
    class CUnwilling : public CExceptionLight
    {
    public:
        std::unique_ptr<IException> Clone() const override
        {
            throw std::bad_alloc();
        }
    };

    EXPECT_THROW(CbException("file", 1, "function", CUnwilling()), std::bad_alloc);
    EXPECT_TRUE(m_recorder.GetRecords().empty());
}

TEST_F(ProtectedForms, KeepTheSameFieldsAsThePublicOnes)
{
    CbExceptionCondition const inner("inner", 1, "Inner::Run");
    CbExceptionClient const kinds[] = {
        {"alpha", 7, "Alpha::Run"},
        {"alpha", 7, "Alpha::Run", L"message"},
        {"alpha", 7, "Alpha::Run", inner},
        {"alpha", 7, "Alpha::Run", inner, L"message"},
    };

    for (CbExceptionClient const& exception : kinds)
    {
        EXPECT_STREQ(exception.GetFilename(), "alpha");
        EXPECT_EQ(exception.GetCodeLine(), 7u);
        EXPECT_STREQ(exception.GetFunctionName(), "Alpha::Run");
        EXPECT_EQ(exception.GetThreadID(), thisThread());
    }
    EXPECT_EQ(kinds[0].GetHistory(), nullptr);
    EXPECT_EQ(kinds[1].GetHistory(), nullptr);
    ASSERT_NE(kinds[2].GetHistory(), nullptr);
    EXPECT_STREQ(kinds[2].GetHistory()->GetFilename(), "inner");
    ASSERT_NE(kinds[3].GetHistory(), nullptr);
    EXPECT_STREQ(kinds[3].GetHistory()->GetFilename(), "inner");
}

// ---- history

TEST_F(CbExceptionHistory, HoldsACauseOfTheFullFamilyInItsOwnKind)
{
    CbException const exception("outer", 2, "function", CbExceptionNotImplemented("inner", 1, "function"));

    EXPECT_NE(dynamic_cast<CbExceptionNotImplemented const*>(exception.GetHistory().get()), nullptr);
}

TEST_F(CbExceptionHistory, HoldsACauseOfTheLightFamily)
{
    CbExceptionStream const inner("inner", 1, "Inner::Read");
    CbException const exception("outer", 2, "function", inner);

    auto const* const cause = dynamic_cast<CbExceptionStream const*>(exception.GetHistory().get());
    ASSERT_NE(cause, nullptr);
    EXPECT_NE(cause, &inner);
    EXPECT_STREQ(cause->GetFilename(), "inner");
    EXPECT_EQ(cause->GetCodeLine(), 1u);
    EXPECT_STREQ(cause->GetFunctionName(), "Inner::Read");
}

TEST_F(CbExceptionHistory, IsEmptyWhereTheCauseCannotBeCloned)
{
    CbException const exception("outer", 2, "function", CbExceptionUncloneable("inner", 1, "function"));

    EXPECT_EQ(exception.GetHistory(), nullptr);
}

TEST_F(CbExceptionHistory, LeadsFromTheLatestCauseToTheOldest)
{
    CbException const oldest("oldest", 1, "function");
    CbException const middle("middle", 2, "function", oldest);
    CbException const latest("latest", 3, "function", middle);

    auto const first = std::dynamic_pointer_cast<CbException>(latest.GetHistory());
    ASSERT_NE(first, nullptr);
    EXPECT_STREQ(first->GetFilename(), "middle");
    auto const second = std::dynamic_pointer_cast<CbException>(first->GetHistory());
    ASSERT_NE(second, nullptr);
    EXPECT_STREQ(second->GetFilename(), "oldest");
    EXPECT_EQ(second->GetHistory(), nullptr);
}

TEST_F(CbExceptionHistory, IsSharedBetweenACauseAndItsCloneInTheHistory)
{
    CbException const oldest("oldest", 1, "function");
    CbException const middle("middle", 2, "function", oldest);
    CbException const latest("latest", 3, "function", middle);

    auto const clone = std::dynamic_pointer_cast<CbException>(latest.GetHistory());
    ASSERT_NE(clone, nullptr);
    EXPECT_EQ(clone->GetHistory(), middle.GetHistory());
}

TEST_F(CbExceptionHistory, OutlivesTheExceptionsThatItCameFrom)
{
    std::shared_ptr<IException> history;
    {
        CbException const exception("outer", 2, "function", CbException("inner", 1, "function"));
        history = exception.GetHistory();
    }

    ASSERT_NE(history, nullptr);
    EXPECT_EQ(history.use_count(), 1);
    EXPECT_STREQ(history->GetFilename(), "inner");
}

TEST_F(CbExceptionHistory, OfAKindWithACauseIsACloneOfTheCause)
{
    CbExceptionCondition const inner("inner", 1, "function");
    CbExceptionNotImplemented const notImplemented("outer", 2, "function", inner);
    CbExceptionPreconditionViolation const violation("outer", 3, "function", notImplemented);

    EXPECT_NE(dynamic_cast<CbExceptionCondition const*>(notImplemented.GetHistory().get()), nullptr);
    EXPECT_NE(dynamic_cast<CbExceptionNotImplemented const*>(violation.GetHistory().get()), nullptr);
}

// ---- copies

TEST_F(CbExceptionCopy, HasTheSameFields)
{
    CbException const original("alpha", 7, "Alpha::Run");
    CbException const copy(original);

    EXPECT_STREQ(copy.GetFilename(), "alpha");
    EXPECT_EQ(copy.GetCodeLine(), 7u);
    EXPECT_STREQ(copy.GetFunctionName(), "Alpha::Run");
    EXPECT_EQ(copy.GetThreadID(), original.GetThreadID());
}

TEST_F(CbExceptionCopy, SharesTheHistory)
{
    CbException const original("alpha", 7, "function", CbException("inner", 1, "function"));
    CbException const copy(original);

    ASSERT_NE(copy.GetHistory(), nullptr);
    EXPECT_EQ(copy.GetHistory(), original.GetHistory());
}

TEST_F(CbExceptionCopy, ByAssignmentReplacesAllFieldsAndSharesTheHistory)
{
    CbException const original("alpha", 7, "Alpha::Run", CbException("inner", 1, "function"));
    CbException target("other", 8, "Other::Run", CbException("forgotten", 2, "function"));
    target = original;

    EXPECT_STREQ(target.GetFilename(), "alpha");
    EXPECT_EQ(target.GetCodeLine(), 7u);
    EXPECT_STREQ(target.GetFunctionName(), "Alpha::Run");
    EXPECT_EQ(target.GetHistory(), original.GetHistory());
}

TEST_F(CbExceptionCopy, ByAssignmentOfOneWithoutHistoryLosesTheHistory)
{
    CbException target("other", 8, "function", CbException("forgotten", 2, "function"));
    target = CbException("alpha", 7, "function");

    EXPECT_EQ(target.GetHistory(), nullptr);
}

TEST_F(CbExceptionCopy, ByAssignmentToItselfChangesNothing)
{
    CbException exception("alpha", 7, "Alpha::Run", CbException("inner", 1, "function"));
    auto const history = exception.GetHistory();
    CbException& alias = exception;
    exception = alias;

    EXPECT_STREQ(exception.GetFilename(), "alpha");
    EXPECT_STREQ(exception.GetFunctionName(), "Alpha::Run");
    EXPECT_EQ(exception.GetHistory(), history);
}

TEST_F(CbExceptionCopy, BetweenKindsOfTheSameBaseKeepsTheTargetsKind)
{
    CbExceptionCondition const source("alpha", 7, "function");
    CbExceptionNotImplemented target("beta", 8, "function");
    static_cast<CbException&>(target) = source;

    EXPECT_STREQ(target.GetFilename(), "alpha");
    EXPECT_TRUE(target.Is(CbExceptionNotImplemented::RTTI));
}

TEST_F(CbExceptionCopy, OfAKindAsCbExceptionIsACbException)
{
    CbExceptionCondition const source("alpha", 7, "function");
    CbException const copy(static_cast<CbException const&>(source));

    EXPECT_TRUE(copy.Is(CbException::RTTI));
    EXPECT_STREQ(copy.GetClassNameW(), L"CbException");
}

// ---- moves

TEST_F(CbExceptionMove, TakesTheHistoryAndLeavesNone)
{
    CbException source("alpha", 7, "function", CbException("inner", 1, "function"));
    auto const history = source.GetHistory();
    CbException const target(std::move(source));

    EXPECT_EQ(target.GetHistory(), history);
    EXPECT_EQ(source.GetHistory(), nullptr);
    EXPECT_EQ(history.use_count(), 2);
}

TEST_F(CbExceptionMove, CopiesTheRest)
{
    CbException source("alpha", 7, "Alpha::Run");
    CbException const target(std::move(source));

    for (CbException const* exception : {&std::as_const(source), &target})
    {
        EXPECT_STREQ(exception->GetFilename(), "alpha");
        EXPECT_EQ(exception->GetCodeLine(), 7u);
        EXPECT_STREQ(exception->GetFunctionName(), "Alpha::Run");
        EXPECT_EQ(exception->GetThreadID(), thisThread());
    }
}

TEST_F(CbExceptionMove, KeepsTextsTooLongForAShortBufferInTheSource)
{
    std::string const file(300, 'f');
    std::string const function(300, 'g');
    CbException source(file.c_str(), 7, function.c_str());
    CbException const target(std::move(source));

    EXPECT_EQ(target.GetFilename(), file);
    EXPECT_EQ(source.GetFilename(), file);
    EXPECT_EQ(source.GetFunctionName(), function);
}

TEST_F(CbExceptionMove, ByAssignmentTakesTheHistoryAndCopiesTheRest)
{
    CbException source("alpha", 7, "Alpha::Run", CbException("inner", 1, "function"));
    CbException target("other", 8, "Other::Run", CbException("forgotten", 2, "function"));
    auto const history = source.GetHistory();
    target = std::move(source);

    EXPECT_EQ(target.GetHistory(), history);
    EXPECT_EQ(source.GetHistory(), nullptr);
    for (CbException const* exception : {&std::as_const(source), &std::as_const(target)})
    {
        EXPECT_STREQ(exception->GetFilename(), "alpha");
        EXPECT_EQ(exception->GetCodeLine(), 7u);
        EXPECT_STREQ(exception->GetFunctionName(), "Alpha::Run");
    }
}

TEST_F(CbExceptionMove, OfAKindTakesTheHistoryToo)
{
    CbExceptionNotImplemented source("alpha", 7, "function", CbException("inner", 1, "function"));
    auto const history = source.GetHistory();
    CbExceptionNotImplemented const target(std::move(source));

    EXPECT_EQ(target.GetHistory(), history);
    EXPECT_EQ(source.GetHistory(), nullptr);
    EXPECT_TRUE(target.Is(CbExceptionNotImplemented::RTTI));
}

TEST_F(CbExceptionMove, ByAssignmentToItselfKeepsTheHistory)
{
    CbException exception("alpha", 7, "Alpha::Run", CbException("inner", 1, "function"));
    auto const history = exception.GetHistory();
    CbException& alias = exception;
    exception = std::move(alias);

    EXPECT_STREQ(exception.GetFilename(), "alpha");
    EXPECT_EQ(exception.GetHistory(), history);
}

// ---- clones

TEST_F(CbExceptionClone, IsOfTheDynamicKind)
{
    CbExceptionCondition const condition("alpha", 7, "function");
    IException const& exception = condition;

    std::unique_ptr<IException> const clone = exception.Clone();

    ASSERT_NE(clone, nullptr);
    EXPECT_EQ(typeid(*clone), typeid(CbExceptionCondition));
    EXPECT_NE(clone.get(), &exception);
}

TEST_F(CbExceptionClone, HasTheSameFieldsAndSharesTheHistory)
{
    CbException const original("alpha", 7, "Alpha::Run", CbException("inner", 1, "function"));

    std::unique_ptr<IException> const clone = original.Clone();

    ASSERT_NE(clone, nullptr);
    EXPECT_STREQ(clone->GetFilename(), "alpha");
    EXPECT_EQ(clone->GetCodeLine(), 7u);
    EXPECT_STREQ(clone->GetFunctionName(), "Alpha::Run");
    EXPECT_EQ(clone->GetThreadID(), original.GetThreadID());
    EXPECT_EQ(dynamic_cast<CbException const&>(*clone).GetHistory(), original.GetHistory());
}

TEST_F(CbExceptionClone, OfAnUnknownExtensionIsOne)
{
    std::unique_ptr<IException> const clone = CbExceptionUnknownExtension("alpha", 7, "function").Clone();

    ASSERT_NE(clone, nullptr);
    EXPECT_EQ(typeid(*clone), typeid(CbExceptionUnknownExtension));
    EXPECT_STREQ(dynamic_cast<IObject const&>(*clone).GetClassNameW(), L"CbExceptionUnknownExtension");
}

TEST_F(CbExceptionClone, OfAClientsKindIsOfThatKind)
{
    CbExceptionClient const original("alpha", 7, "Alpha::Run", CbException("inner", 1, "function"));

    std::unique_ptr<IException> const clone = original.Clone();

    ASSERT_NE(clone, nullptr);
    EXPECT_EQ(typeid(*clone), typeid(CbExceptionClient));
    EXPECT_STREQ(dynamic_cast<IObject const&>(*clone).GetClassNameW(), L"CbExceptionClient");
    EXPECT_EQ(dynamic_cast<CbException const&>(*clone).GetHistory(), original.GetHistory());
}

TEST_F(CbExceptionClone, IsEmptyForAKindWithoutCloneFunction)
{
    EXPECT_EQ(CbExceptionUncloneable("alpha", 7, "function").Clone(), nullptr);
}

TEST_F(CbExceptionClone, IsEmptyWhereTheCloneFunctionGivesNoException)
{
    CbExceptionChangeling const original("alpha", 7, "function");

    EXPECT_EQ(original.Clone(), nullptr);
    EXPECT_EQ(CbExceptionChangeling::s_changelingsAlive, 0);
    EXPECT_EQ(CbException("outer", 8, "function", original).GetHistory(), nullptr);
}

TEST_F(CbExceptionClone, OfAClassWithoutARecordIsOfTheNextOneThatHasIt)
{
    CExceptionUnregistered const original("alpha", 7, "function");

    std::unique_ptr<IException> const clone = original.Clone();

    ASSERT_NE(clone, nullptr);
    EXPECT_EQ(typeid(*clone), typeid(CbException));
}

TEST_F(CbExceptionClone, RaisesBadCastWhereAnOlderRecordOfTheNameIsAnotherClasss)
{
    // A second class that takes the name of one that is there already: what a second module may do.
    class CNamesake : public CbException
    {
    public:
        explicit CNamesake(CbRTTI const& record) : CbException("alpha", 7, "function", record), m_record(&record)
        {
        }

        CbRTTI const& GetRTTI() const override
        {
            return *m_record;
        }

    private:
        CbRTTI const* m_record;
    };

    CbRTTI const younger(L"CbExceptionClient", CbException::RTTI, nullptr, &Factory::Clone<CNamesake>);
    CNamesake const original(younger);

    EXPECT_THROW(static_cast<void>(original.Clone()), std::bad_cast);
    EXPECT_THROW(CbException("outer", 8, "function", original), std::bad_cast);
}

// ---- threads

TEST_F(CbExceptionThread, IdOfACopyIsThatOfTheThreadThatBuiltTheFirst)
{
    CbException const original("alpha", 7, "function");
    unsigned int copied = 0;
    unsigned int cloned = 0;
    unsigned int moved = 0;
    unsigned int assigned = 0;
    unsigned int moveAssigned = 0;
    unsigned int own = 0;
    std::thread other(
        [&]
        {
            CbException copy(original);
            copied = copy.GetThreadID();
            cloned = original.Clone()->GetThreadID();
            moved = CbException(std::move(copy)).GetThreadID();
            CbException target("beta", 8, "function");
            own = target.GetThreadID();
            target = original;
            assigned = target.GetThreadID();
            CbException moveSource(original);
            CbException moveTarget("gamma", 9, "function");
            moveTarget = std::move(moveSource);
            moveAssigned = moveTarget.GetThreadID();
        });
    other.join();

    EXPECT_EQ(copied, thisThread());
    EXPECT_EQ(cloned, thisThread());
    EXPECT_EQ(moved, thisThread());
    EXPECT_EQ(assigned, thisThread());
    EXPECT_EQ(moveAssigned, thisThread());
    EXPECT_NE(own, thisThread());
}

TEST_F(CbExceptionThread, CopiesMayGoOnDifferentThreads)
{
    CbException const original("alpha", 7, "function", CbException("inner", 1, "function"));
    std::vector<std::thread> threads;
    for (int n = 0; n < 4; ++n)
    {
        threads.emplace_back(
            [&original]
            {
                for (int round = 0; round < 1000; ++round)
                {
                    CbException const copy(original);
                    std::unique_ptr<IException> const clone = copy.Clone();
                }
            });
    }
    for (std::thread& thread : threads)
    {
        thread.join();
    }

    // The one here and the one in the exception.
    EXPECT_EQ(original.GetHistory().use_count(), 2);
}

TEST_F(CbExceptionThread, ACaughtExceptionMayBeCarriedToAnotherThread)
{
    std::exception_ptr carried;
    std::thread other(
        [&carried]
        {
            try
            {
                throw CbExceptionCondition("alpha", 7, "Alpha::Run");
            }
            catch (...)
            {
                carried = std::current_exception();
            }
        });
    other.join();

    try
    {
        std::rethrow_exception(carried);
    }
    catch (CbExceptionCondition const& caught)
    {
        EXPECT_STREQ(caught.GetFilename(), "alpha");
        EXPECT_NE(caught.GetThreadID(), thisThread());
    }
}

// ---- catching

TEST_F(CbExceptionCatch, WorksByKindByBaseAndByInterface)
{
    EXPECT_THROW(throw CbExceptionCondition("alpha", 7, "function"), CbExceptionCondition);
    EXPECT_THROW(throw CbExceptionCondition("alpha", 7, "function"), CbException);
    EXPECT_THROW(throw CbExceptionCondition("alpha", 7, "function"), IException);
    EXPECT_THROW(throw CbExceptionCondition("alpha", 7, "function"), IObject);
    EXPECT_THROW(throw CbExceptionClient("alpha", 7, "function"), CbException);
}

// ---- layout

TEST_F(CbExceptionLayout, HoldsIExceptionFirstAndIObjectSecond)
{
    CbException const exception("alpha", 7, "function");
    auto const* const begin = reinterpret_cast<char const*>(&exception);
    auto const* const first = reinterpret_cast<char const*>(static_cast<IException const*>(&exception));
    auto const* const second = reinterpret_cast<char const*>(static_cast<IObject const*>(&exception));

    EXPECT_EQ(first - begin, 0);
    EXPECT_EQ(second - begin, static_cast<std::ptrdiff_t>(sizeof(void*)));
}

TEST_F(CbExceptionLayout, HoldsItsFieldsInPublishedOrder)
{
    CbException const exception("alpha", 7, "Run", CbException("inner", 1, "function"));

    EXPECT_EQ(fieldAt<CStringA>(&exception, offsetof(SLayout, file)), "alpha");
    EXPECT_EQ(fieldAt<unsigned int>(&exception, offsetof(SLayout, line)), 7u);
    EXPECT_EQ(fieldAt<CStringA>(&exception, offsetof(SLayout, function)), "Run");
    EXPECT_EQ(fieldAt<unsigned int>(&exception, offsetof(SLayout, threadId)), thisThread());
    EXPECT_EQ(fieldAt<std::shared_ptr<IException>>(&exception, offsetof(SLayout, history)), exception.GetHistory());
}
