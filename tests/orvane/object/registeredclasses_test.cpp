// The classes that the library registers: their names are read by other modules and stand in stored data.

#include <memory>
#include <ostream>
#include <string>
#include <type_traits>
#include <typeinfo>

#include <gtest/gtest.h>

#include "orvane/exception/cbexceptioncondition.h"
#include "orvane/exception/cbexceptionnotimplemented.h"
#include "orvane/exception/cbexceptionpreconditionviolation.h"
#include "orvane/exception/cbexceptionstd.h"
#include "orvane/exception/cbexceptionunknownextension.h"
#include "orvane/object/classrecord.h"
#include "support/logrecorder.h"

namespace
{
struct SRow
{
    char const* label;
    wchar_t const* name;
    CbRTTI const* record;
    CbRTTI const* parent;
    bool isCreatable;
    bool isCloneable;
};

std::ostream& operator<<(std::ostream& stream, SRow const& row)
{
    return stream << row.label;
}

class RegisteredClass : public testing::TestWithParam<SRow>
{
};

class CPlainObject : public IObject
{
public:
    CbRTTI const& GetRTTI() const override
    {
        static CbRTTI const record(L"RegisteredClasses.PlainObject", nullptr, nullptr);
        return record;
    }

    wchar_t const* GetClassNameW() const override
    {
        return GetRTTI().GetName();
    }
};

template <class T>
std::unique_ptr<IObject> makeException()
{
    if constexpr (std::is_same_v<T, CbExceptionStd>)
    {
        return std::make_unique<T>("file", 1u, "function", std::exception());
    }
    else
    {
        return std::make_unique<T>("file", 1u, "function");
    }
}

template <class T>
class RegisteredException : public testing::Test
{
protected:
    CLogRecorder m_recorder;
};

using Exceptions = testing::Types<CbException, CbExceptionCondition, CbExceptionNotImplemented,
                                  CbExceptionPreconditionViolation, CbExceptionStd, CbExceptionUnknownExtension>;
} // namespace

TEST_P(RegisteredClass, IsFoundUnderItsName)
{
    EXPECT_EQ(CbRTTI::Find(GetParam().name), GetParam().record);
}

TEST_P(RegisteredClass, HasExactlyItsNameInItsRecord)
{
    EXPECT_STREQ(GetParam().record->GetName(), GetParam().name);
}

TEST_P(RegisteredClass, HasItsParent)
{
    EXPECT_EQ(GetParam().record->GetParent(), GetParam().parent);
}

TEST_P(RegisteredClass, CanBeCreatedOrClonedAsTheTableSays)
{
    EXPECT_EQ(CbRTTI::getCreate(GetParam().name) != nullptr, GetParam().isCreatable);
    EXPECT_EQ(CbRTTI::getClone(GetParam().name) != nullptr, GetParam().isCloneable);
    EXPECT_EQ(Factory::CreateByName(GetParam().name) != nullptr, GetParam().isCreatable);
}

INSTANTIATE_TEST_SUITE_P(OfTheLibrary, RegisteredClass,
                         testing::Values(SRow{"CbException", L"CbException", &CbException::RTTI, nullptr, false, true},
                                         SRow{"CbExceptionCondition", L"CbExceptionCondition",
                                              &CbExceptionCondition::RTTI, &CbException::RTTI, false, true},
                                         SRow{"CbExceptionNotImplemented", L"CbExceptionNotImplemented",
                                              &CbExceptionNotImplemented::RTTI, &CbException::RTTI, false, true},
                                         SRow{"CbExceptionPreconditionViolation", L"CbExceptionPreconditionViolation",
                                              &CbExceptionPreconditionViolation::RTTI, &CbException::RTTI, false, true},
                                         SRow{"CbExceptionStd", L"CbExceptionStd", &CbExceptionStd::RTTI,
                                              &CbException::RTTI, false, true},
                                         SRow{"CbExceptionUnknownExtension", L"CbExceptionUnknownExtension",
                                              &CbExceptionUnknownExtension::RTTI, &CbException::RTTI, false, true}),
                         [](testing::TestParamInfo<SRow> const& row) { return std::string(row.param.label); });

TYPED_TEST_SUITE(RegisteredException, Exceptions);

TYPED_TEST(RegisteredException, IsExactlyOfItsOwnRecord)
{
    std::unique_ptr<IObject> const object = makeException<TypeParam>();
    auto const& exception = dynamic_cast<TypeParam const&>(*object);

    EXPECT_EQ(&object->GetRTTI(), &TypeParam::RTTI);
    EXPECT_STREQ(object->GetClassNameW(), TypeParam::RTTI.GetName());
    EXPECT_TRUE(exception.Is(TypeParam::RTTI));
    EXPECT_TRUE(static_cast<CbException const&>(exception).Is(TypeParam::RTTI));
}

TYPED_TEST(RegisteredException, IsAKindOfCbException)
{
    std::unique_ptr<IObject> const object = makeException<TypeParam>();
    auto const& exception = dynamic_cast<TypeParam const&>(*object);

    EXPECT_TRUE(exception.IsKindOf(CbException::RTTI));
    EXPECT_TRUE(exception.IsKindOf(TypeParam::RTTI));
    EXPECT_TRUE(static_cast<CbException const&>(exception).IsKindOf(TypeParam::RTTI));
}

TYPED_TEST(RegisteredException, IsNotTakenForItsParent)
{
    std::unique_ptr<IObject> const object = makeException<TypeParam>();
    auto const& exception = dynamic_cast<TypeParam const&>(*object);

    bool const isTheParent = std::is_same_v<TypeParam, CbException>;
    EXPECT_EQ(exception.Is(CbException::RTTI), isTheParent);
}

TYPED_TEST(RegisteredException, IsClonedThroughItsRecord)
{
    std::unique_ptr<IObject> const object = makeException<TypeParam>();

    std::unique_ptr<IObject> const copy = TypeParam::RTTI.GetClone()(*object);

    ASSERT_NE(copy, nullptr);
    EXPECT_NE(copy, object);
    EXPECT_EQ(typeid(*copy), typeid(TypeParam));
}

TYPED_TEST(RegisteredException, RefusesToCloneAnObjectOfAnotherClass)
{
    CPlainObject const other;

    EXPECT_THROW(static_cast<void>(TypeParam::RTTI.GetClone()(other)), std::bad_cast);
}

TEST(RegisteredExceptions, RefuseToCloneOneAnother)
{
    CLogRecorder const quiet;
    CbExceptionCondition const condition("file", 1, "function");
    CbException const plain("file", 1, "function");

    EXPECT_THROW(static_cast<void>(CbExceptionNotImplemented::RTTI.GetClone()(condition)), std::bad_cast);
    EXPECT_THROW(static_cast<void>(CbExceptionStd::RTTI.GetClone()(plain)), std::bad_cast);
}

TEST(RegisteredExceptions, AreNoKindOfOneAnother)
{
    EXPECT_FALSE(CbExceptionCondition::RTTI.IsKindOf(CbExceptionStd::RTTI));
    EXPECT_FALSE(CbException::RTTI.IsKindOf(CbExceptionCondition::RTTI));
}
