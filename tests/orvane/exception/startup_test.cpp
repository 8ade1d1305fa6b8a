// Static initialisers that use the library: those of a shared library that links it, and this program's own.

#include <ostream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "orvane/object/classrecord.h"
#include "startupmodule.h"
#include "startupprobe.h"
#include "support/logline.h"

using testing::ElementsAre;

namespace
{
SStartupReport const s_report = probeStartup("program");

class CbExceptionProgramParent : public CbException
{
public:
    static CbRTTI const RTTI;
    using CbException::CbException;

    CbExceptionProgramParent(char const* file, unsigned int line, char const* function, CbRTTI const& rtti)
        : CbException(file, line, function, rtti)
    {
    }

    CbRTTI const& GetRTTI() const override
    {
        return RTTI;
    }
};

class CbExceptionProgramChild : public CbExceptionProgramParent
{
public:
    static CbRTTI const RTTI;

    CbExceptionProgramChild(char const* file, unsigned int line, char const* function)
        : CbExceptionProgramParent(file, line, function, RTTI)
    {
    }

    CbRTTI const& GetRTTI() const override
    {
        return RTTI;
    }
};

// The child's record before its parent's.
CbRTTI const CbExceptionProgramChild::RTTI(L"CbExceptionProgramChild", CbExceptionProgramParent::RTTI, nullptr,
                                           &Factory::Clone<CbExceptionProgramChild>);
CbRTTI const CbExceptionProgramParent::RTTI(L"CbExceptionProgramParent", CbException::RTTI, nullptr, nullptr);

struct SCase
{
    char const* label;
    SStartupReport const& (*report)();
    char const* file;

    friend std::ostream& operator<<(std::ostream& stream, SCase const& row)
    {
        return stream << row.label;
    }
};

SStartupReport const& getProgramReport()
{
    return s_report;
}

class StartupOf : public testing::TestWithParam<SCase>
{
protected:
    static SStartupReport const& report()
    {
        return GetParam().report();
    }
};
} // namespace

TEST_P(StartupOf, CatchesWhatItThrows)
{
    EXPECT_TRUE(report().hasCaught);
    EXPECT_EQ(report().caughtFile, GetParam().file);
    EXPECT_EQ(report().historyFile, "cause");
}

TEST_P(StartupOf, LogsItsExceptions)
{
    std::wstring const file(report().caughtFile.begin(), report().caughtFile.end());

    EXPECT_THAT(
        report().logTexts,
        ElementsAre(
            LR"({"logtype":"application", "actiontype":"exception", "data":{"type":"CbExceptionCondition",)"
            LR"("message":""}})",
            L"Exception: 'CbExceptionCondition' (cause:6)\n",
            LR"({"logtype":"application", "actiontype":"exception", "data":{"type":"CbException","message":"early"}})",
            L"Exception: 'CbException' (" + file +
                L":7): 'early'\n\t-\tException: 'CbExceptionCondition' (cause:6)\n"));
}

TEST_P(StartupOf, FindsTheRecordsOfTheLibrary)
{
    EXPECT_TRUE(report().isRecordFound);
    EXPECT_TRUE(report().isConditionAKindOfException);
    EXPECT_EQ(report().className, L"CbExceptionCondition");
}

TEST_P(StartupOf, ClonesThroughTheRegistry)
{
    EXPECT_TRUE(report().isCloneOfItsKind);
}

TEST_P(StartupOf, CatchesLightKindsAndConditions)
{
    EXPECT_TRUE(report().isLightCaught);
    EXPECT_TRUE(report().isConditionRaised);
}

TEST_P(StartupOf, FormatsText)
{
    EXPECT_EQ(report().formatted, L"number 42");
    EXPECT_TRUE(report().isFormatRefused);
}

TEST_P(StartupOf, HasTheSystemsErrorTexts)
{
    EXPECT_TRUE(report().hasErrorText);
}

INSTANTIATE_TEST_SUITE_P(StaticInitialisers, StartupOf,
                         testing::Values(SCase{"Module", &GetModuleStartupReport, "module"},
                                         SCase{"Program", &getProgramReport, "program"}),
                         [](testing::TestParamInfo<SCase> const& row) { return std::string(row.param.label); });

TEST(StartupRecord, MayStandBeforeItsParentsInTheModule)
{
    EXPECT_EQ(CbRTTI::Find(L"CbExceptionModuleChild"), &CbExceptionModuleChild::RTTI);
    EXPECT_EQ(CbExceptionModuleChild::RTTI.GetParent(), &CbExceptionModuleParent::RTTI);
    EXPECT_TRUE(CbExceptionModuleChild::RTTI.IsKindOf(CbException::RTTI));
    EXPECT_FALSE(CbExceptionModuleParent::RTTI.IsKindOf(CbExceptionModuleChild::RTTI));
}

TEST(StartupRecord, MayStandBeforeItsParentsInTheProgram)
{
    EXPECT_EQ(CbRTTI::Find(L"CbExceptionProgramChild"), &CbExceptionProgramChild::RTTI);
    EXPECT_EQ(CbExceptionProgramChild::RTTI.GetParent(), &CbExceptionProgramParent::RTTI);
    EXPECT_TRUE(CbExceptionProgramChild::RTTI.IsKindOf(CbException::RTTI));
}

TEST(StartupRecord, ServesExceptionsThatAreRaisedBeforeTheParentsRecordIsBuilt)
{
    EXPECT_TRUE(HasRaisedBeforeTheParentsRecord());
}

TEST(StartupModule, RaisesKindsThatTheProgramCatchesByType)
{
    CLogRecorder const recorder;

    EXPECT_THROW(RaiseInModule(), CbExceptionModuleChild);
    EXPECT_THROW(RaiseInModule(), CbExceptionModuleParent);
    EXPECT_THROW(RaiseInModule(), CbException);
    EXPECT_THROW(RaiseInModule(), IException);
}

TEST(StartupModule, HasItsKindsClonedByTheLibraryAndNamedInTheLog)
{
    CLogRecorder const recorder;
    std::vector<std::wstring> texts;
    try
    {
        RaiseInModule();
    }
    catch (CbException const& caught)
    {
        CbException const outer("outer", 1, "function", caught);
        EXPECT_NE(dynamic_cast<CbExceptionModuleChild const*>(outer.GetHistory().get()), nullptr);
    }
    for (Logging::SRecord const& record : recorder.GetRecords(L"Exception"))
    {
        texts.push_back(record.text);
    }

    EXPECT_THAT(texts, ElementsAre(L"Exception: 'CbExceptionModuleChild' (module:12)\n",
                                   L"Exception: 'CbException' (outer:1)\n"
                                   L"\t-\tException: 'CbExceptionModuleChild' (module:12)\n"));
}
