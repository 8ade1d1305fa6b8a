#include "startupmodule.h"

#include "orvane/object/classrecord.h"

namespace
{
SStartupReport const s_report = probeStartup("module");
}

CbRTTI const CbExceptionModuleChild::RTTI(L"CbExceptionModuleChild", CbExceptionModuleParent::RTTI, nullptr,
                                          &CbExceptionModuleChild::CloneByFactory);

namespace
{
bool raiseEarly()
{
    Logging::CLogger::RemoveSink(Logging::GetDefaultSink());
    bool isWhole = false;
    try
    {
        throw CbExceptionModuleChild("module", 11, "Startup::Run");
    }
    catch (CbException const& caught)
    {
        isWhole = caught.Is(CbExceptionModuleChild::RTTI) &&
                  dynamic_cast<CbExceptionModuleChild const*>(caught.Clone().get()) != nullptr;
    }
    Logging::CLogger::AddSink(Logging::GetDefaultSink());
    return isWhole;
}

bool const s_hasRaisedEarly = raiseEarly();
} // namespace

CbRTTI const CbExceptionModuleParent::RTTI(L"CbExceptionModuleParent", CbException::RTTI, nullptr,
                                           &CbExceptionModuleParent::CloneByFactory);

CbExceptionModuleParent::CbExceptionModuleParent(char const* file, unsigned int line, char const* function)
    : CbException(file, line, function, RTTI)
{
}

CbExceptionModuleParent::CbExceptionModuleParent(char const* file, unsigned int line, char const* function,
                                                 CbRTTI const& rtti)
    : CbException(file, line, function, rtti)
{
}

CbRTTI const& CbExceptionModuleParent::GetRTTI() const
{
    return RTTI;
}

std::unique_ptr<IObject> CbExceptionModuleParent::CloneByFactory(IObject const& object)
{
    return Factory::Clone<CbExceptionModuleParent>(object);
}

CbExceptionModuleChild::CbExceptionModuleChild(char const* file, unsigned int line, char const* function)
    : CbExceptionModuleParent(file, line, function, RTTI)
{
}

CbRTTI const& CbExceptionModuleChild::GetRTTI() const
{
    return RTTI;
}

std::unique_ptr<IObject> CbExceptionModuleChild::CloneByFactory(IObject const& object)
{
    return Factory::Clone<CbExceptionModuleChild>(object);
}

SStartupReport const& GetModuleStartupReport()
{
    return s_report;
}

bool HasRaisedBeforeTheParentsRecord()
{
    return s_hasRaisedEarly;
}

void RaiseInModule()
{
    throw CbExceptionModuleChild("module", 12, "Module::Raise");
}
