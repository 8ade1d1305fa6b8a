// What a static initialiser of a client module may do with the library: everything.

#ifndef ORVANE_TESTS_EXCEPTION_STARTUPPROBE_H
#define ORVANE_TESTS_EXCEPTION_STARTUPPROBE_H

#include <memory>
#include <string>
#include <vector>

#include "logging/sinks.h"
#include "orvane/exception/cbexceptioncondition.h"
#include "orvane/exception/cbexceptionstream.h"
#include "orvane/exception/cblatesterror.h"
#include "orvane/exception/condition.h"
#include "orvane/text/cbstr.h"

/// What a module saw while its static objects were built.
struct SStartupReport
{
    bool hasCaught = false;
    std::string caughtFile;
    std::string historyFile;
    std::vector<std::wstring> logTexts;
    bool isRecordFound = false;
    bool isConditionAKindOfException = false;
    std::wstring className;
    bool isCloneOfItsKind = false;
    bool isLightCaught = false;
    bool isConditionRaised = false;
    std::wstring formatted;
    bool isFormatRefused = false;
    bool hasErrorText = false;
};

/// Uses the library as a module under construction would. `module` goes into the file texts.
inline SStartupReport probeStartup(char const* module)
{
    SStartupReport report;
    auto const recorder = std::make_shared<Logging::CRecorderSink>();
    Logging::CLogger::RemoveSink(Logging::GetDefaultSink());
    Logging::CLogger::AddSink(recorder);
    try
    {
        throw CbException(module, 7, "Startup::Run", CbExceptionCondition("cause", 6, "Startup::Cause"), L"early");
    }
    catch (CbException const& caught)
    {
        report.hasCaught = true;
        report.caughtFile = caught.GetFilename();
        report.historyFile = caught.GetHistory() != nullptr ? caught.GetHistory()->GetFilename() : "";
    }
    for (Logging::SRecord const& record : recorder->GetRecords())
    {
        report.logTexts.push_back(record.text);
    }

    report.isRecordFound = CbRTTI::Find(L"CbException") == &CbException::RTTI;
    CbExceptionCondition const condition(module, 8, "Startup::Run");
    report.isConditionAKindOfException = condition.IsKindOf(CbException::RTTI);
    report.className = condition.GetClassNameW();
    report.isCloneOfItsKind = dynamic_cast<CbExceptionCondition const*>(condition.Clone().get()) != nullptr;

    try
    {
        throw CbExceptionStream(module, 9, "Startup::Run");
    }
    catch (IException const&)
    {
        report.isLightCaught = true;
    }

    try
    {
        Condition::HandleUnfulfilledCondition(module, 10, "Startup::Run", Condition::eHandlingThrow);
    }
    catch (CbExceptionCondition const&)
    {
        report.isConditionRaised = true;
    }

    CbStrT<std::wstring> text;
    text.Format(L"%s %d", L"number", 42);
    report.formatted = text.Get();
    try
    {
        text.Format(nullptr);
    }
    catch (CbStrT<std::wstring>::CException const&)
    {
        report.isFormatRefused = true;
    }
    report.hasErrorText = CbLatestError(2).GetLatestErrorMessage()[0] != L'\0';

    Logging::CLogger::RemoveSink(recorder);
    Logging::CLogger::AddSink(Logging::GetDefaultSink());
    return report;
}

#endif // ORVANE_TESTS_EXCEPTION_STARTUPPROBE_H
