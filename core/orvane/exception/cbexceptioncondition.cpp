#include "orvane/exception/cbexceptioncondition.h"

#include "orvane/object/classrecord.h"

CbRTTI const CbExceptionCondition::RTTI(L"CbExceptionCondition", CbException::RTTI, nullptr,
                                        &CbExceptionCondition::CloneByFactory);

CbExceptionCondition::CbExceptionCondition(char const* file, unsigned int line, char const* function)
    : CbException(file, line, function, RTTI)
{
}

CbRTTI const& CbExceptionCondition::GetRTTI() const
{
    return RTTI;
}

std::unique_ptr<IObject> CbExceptionCondition::CloneByFactory(IObject const& object)
{
    return Factory::Clone<CbExceptionCondition>(object);
}
