// The light family: one fixed line in the log, four fields, nothing more.

#include <cstddef>
#include <string>
#include <thread>
#include <type_traits>
#include <typeinfo>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "orvane/exception/cbexceptioncontainer.h"
#include "orvane/exception/cbexceptionconversion.h"
#include "orvane/exception/cbexceptionstream.h"
#include "orvane/exception/cbexceptionwrongfileversion.h"
#include "orvane/object/iobject.h"
#include "orvane/text/cbstr.h"
#include "platform/platform.h"
#include "support/layout.h"
#include "support/logline.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace
{
// The fields as clients find them.
struct SLayout
{
    void* table;
    std::string file;
    unsigned int line;
    std::string function;
    unsigned int threadId;
};

using FormatException = CbStrT<std::wstring>::CException;

template <class T>
class LightKind : public testing::Test
{
protected:
    CLogRecorder m_recorder;
};

using Kinds = testing::Types<CbExceptionContainer, CbExceptionConversion, CbExceptionStream,
                             CbExceptionWrongFileVersion, FormatException>;

class KindName
{
public:
    template <class T>
    static std::string GetName(int)
    {
        return std::is_same_v<T, CbExceptionContainer>          ? "CbExceptionContainer"
               : std::is_same_v<T, CbExceptionConversion>       ? "CbExceptionConversion"
               : std::is_same_v<T, CbExceptionStream>           ? "CbExceptionStream"
               : std::is_same_v<T, CbExceptionWrongFileVersion> ? "CbExceptionWrongFileVersion"
                                                                : "CbStrTCException";
    }
};

class LightKindLog : public testing::Test
{
protected:
    CLogRecorder m_recorder;
};

SLogLine errorLine(std::string const& file, int line, std::string const& function, std::wstring const& text)
{
    return {L"Exception", Logging::eLevelError, file, line, function, text};
}
} // namespace

TYPED_TEST_SUITE(LightKind, Kinds, KindName);

TYPED_TEST(LightKind, IsAnIExceptionAndNoObject)
{
    static_assert(std::is_base_of_v<IException, TypeParam> && !std::is_base_of_v<IObject, TypeParam>);
    static_assert(!std::is_abstract_v<TypeParam> && !std::is_default_constructible_v<TypeParam>);
    static_assert(std::is_constructible_v<TypeParam, char const*, unsigned int, char const*>);
    static_assert(std::is_copy_constructible_v<TypeParam> && std::is_copy_assignable_v<TypeParam>);
    static_assert(std::is_move_constructible_v<TypeParam> && std::is_move_assignable_v<TypeParam>);
    static_assert(std::is_nothrow_destructible_v<TypeParam>);

    EXPECT_THROW(throw TypeParam("alpha", 7, "function"), TypeParam);
    EXPECT_THROW(throw TypeParam("alpha", 7, "function"), IException);
}

TYPED_TEST(LightKind, KeepsWhereItWasRaised)
{
    TypeParam const exception("c:\\src\\alpha", 7, "Alpha::Run");

    EXPECT_STREQ(exception.GetFilename(), "c:\\src\\alpha");
    EXPECT_EQ(exception.GetCodeLine(), 7u);
    EXPECT_STREQ(exception.GetFunctionName(), "Alpha::Run");
    EXPECT_EQ(exception.GetThreadID(), static_cast<unsigned int>(GetCurrentThreadId()));
}

TYPED_TEST(LightKind, TakesNullTextsForEmptyOnes)
{
    TypeParam const exception(nullptr, 7, nullptr);

    EXPECT_STREQ(exception.GetFilename(), "");
    EXPECT_STREQ(exception.GetFunctionName(), "");
}

TYPED_TEST(LightKind, ClonesToItsOwnKind)
{
    TypeParam const original("alpha", 7, "Alpha::Run");
    IException const& exception = original;

    std::unique_ptr<IException> const clone = exception.Clone();

    ASSERT_NE(clone, nullptr);
    EXPECT_EQ(typeid(*clone), typeid(TypeParam));
    EXPECT_NE(clone.get(), &exception);
    EXPECT_STREQ(clone->GetFilename(), "alpha");
    EXPECT_EQ(clone->GetCodeLine(), 7u);
    EXPECT_STREQ(clone->GetFunctionName(), "Alpha::Run");
    EXPECT_EQ(clone->GetThreadID(), exception.GetThreadID());
}

TYPED_TEST(LightKind, IsCopiedWithAllFields)
{
    TypeParam const original("alpha", 7, "Alpha::Run");
    TypeParam const copy(original);
    TypeParam assigned("beta", 8, "Beta::Run");
    assigned = original;

    for (TypeParam const* exception : {&copy, &std::as_const(assigned)})
    {
        EXPECT_STREQ(exception->GetFilename(), "alpha");
        EXPECT_EQ(exception->GetCodeLine(), 7u);
        EXPECT_STREQ(exception->GetFunctionName(), "Alpha::Run");
        EXPECT_EQ(exception->GetThreadID(), original.GetThreadID());
    }
}

TYPED_TEST(LightKind, IsMovedByCopyingAllFields)
{
    std::string const file(300, 'f');
    std::string const function(300, 'g');
    TypeParam source(file.c_str(), 7, function.c_str());
    TypeParam target(std::move(source));
    TypeParam assigned("beta", 8, "Beta::Run");
    assigned = std::move(target);

    for (TypeParam const* exception : {&std::as_const(source), &std::as_const(target), &std::as_const(assigned)})
    {
        EXPECT_EQ(exception->GetFilename(), file);
        EXPECT_EQ(exception->GetCodeLine(), 7u);
        EXPECT_EQ(exception->GetFunctionName(), function);
    }
}

TYPED_TEST(LightKind, IsAssignableToItself)
{
    TypeParam exception("alpha", 7, "a function text that is too long for a short buffer");
    TypeParam& alias = exception;
    exception = alias;
    exception = std::move(alias);

    EXPECT_STREQ(exception.GetFilename(), "alpha");
    EXPECT_STREQ(exception.GetFunctionName(), "a function text that is too long for a short buffer");
}

TYPED_TEST(LightKind, DoesNotLogCopiesMovesClonesAndAssignments)
{
    TypeParam original("alpha", 7, "Alpha::Run");
    this->m_recorder.Clear();

    TypeParam copy(original);
    TypeParam const moved(std::move(copy));
    copy = moved;
    original = std::move(copy);
    std::unique_ptr<IException> const clone = moved.Clone();

    EXPECT_THAT(linesOf(this->m_recorder), IsEmpty());
}

TYPED_TEST(LightKind, KeepsTheThreadThatRaisedIt)
{
    TypeParam const original("alpha", 7, "Alpha::Run");
    unsigned int own = 0;
    unsigned int copied = 0;
    unsigned int cloned = 0;
    unsigned int assigned = 0;
    unsigned int moveAssigned = 0;
    std::thread other(
        [&]
        {
            copied = TypeParam(original).GetThreadID();
            cloned = original.Clone()->GetThreadID();
            TypeParam target("beta", 8, "Beta::Run");
            own = target.GetThreadID();
            target = original;
            assigned = target.GetThreadID();
            TypeParam moveTarget("gamma", 9, "Gamma::Run");
            moveTarget = std::move(target);
            moveAssigned = moveTarget.GetThreadID();
        });
    other.join();

    EXPECT_NE(own, original.GetThreadID());
    EXPECT_EQ(copied, original.GetThreadID());
    EXPECT_EQ(cloned, original.GetThreadID());
    EXPECT_EQ(assigned, original.GetThreadID());
    EXPECT_EQ(moveAssigned, original.GetThreadID());
}

TYPED_TEST(LightKind, HoldsItsFieldsInPublishedOrder)
{
    static_assert(sizeof(TypeParam) == sizeof(SLayout));
    TypeParam const exception("alpha", 7, "Run");

    EXPECT_EQ(fieldAt<std::string>(&exception, offsetof(SLayout, file)), "alpha");
    EXPECT_EQ(fieldAt<unsigned int>(&exception, offsetof(SLayout, line)), 7u);
    EXPECT_EQ(fieldAt<std::string>(&exception, offsetof(SLayout, function)), "Run");
    EXPECT_EQ(fieldAt<unsigned int>(&exception, offsetof(SLayout, threadId)), exception.GetThreadID());
}

// ---- the log

TEST_F(LightKindLog, OfAContainerExceptionIsOneErrorLine)
{
    CbExceptionContainer const exception("c:\\src\\alpha", 7, "Alpha::Run");

    EXPECT_THAT(linesOf(m_recorder), ElementsAre(errorLine("c:\\src\\alpha", 7, "Alpha::Run", L"Out of memory")));
}

TEST_F(LightKindLog, OfAConversionExceptionIsOneErrorLine)
{
    CbExceptionConversion const exception("c:\\src\\alpha", 7, "Alpha::Run");

    EXPECT_THAT(linesOf(m_recorder),
                ElementsAre(errorLine("c:\\src\\alpha", 7, "Alpha::Run", L"Exception on data conversion")));
}

TEST_F(LightKindLog, OfAStreamExceptionIsOneErrorLine)
{
    CbExceptionStream const exception("c:\\src\\alpha", 7, "Alpha::Run");

    EXPECT_THAT(linesOf(m_recorder),
                ElementsAre(errorLine("c:\\src\\alpha", 7, "Alpha::Run", L"Exception on reading / writing stream")));
}

TEST_F(LightKindLog, OfAWrongFileVersionIsOneErrorLine)
{
    CbExceptionWrongFileVersion const exception("c:\\src\\alpha", 7, "Alpha::Run");

    EXPECT_THAT(linesOf(m_recorder),
                ElementsAre(errorLine("c:\\src\\alpha", 7, "Alpha::Run", L"Wrong file version on stream")));
}

TEST_F(LightKindLog, OfAFormattingFailureIsEmpty)
{
    FormatException const exception("c:\\src\\alpha", 7, "Alpha::Run");

    EXPECT_THAT(linesOf(m_recorder), IsEmpty());
}

TEST_F(LightKindLog, TakesPercentSignsInFileAndFunctionAsTheyAre)
{
    CbExceptionStream const exception("%s%n", 7, "%d::%s");

    EXPECT_THAT(linesOf(m_recorder),
                ElementsAre(errorLine("%s%n", 7, "%d::%s", L"Exception on reading / writing stream")));
}

TEST_F(LightKindLog, IsEmptyWhereErrorsAreOff)
{
    CScopedLevel const off(L"Exception", Logging::eLevelOff);
    CbExceptionStream const stream("alpha", 7, "Alpha::Run");
    CbExceptionContainer const container("alpha", 7, "Alpha::Run");
    CbExceptionConversion const conversion("alpha", 7, "Alpha::Run");
    CbExceptionWrongFileVersion const version("alpha", 7, "Alpha::Run");

    EXPECT_THAT(linesOf(m_recorder), IsEmpty());
}
