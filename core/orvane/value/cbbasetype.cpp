#include "orvane/value/cbbasetype.h"

CbRTTI const CbBaseTypeRTTIHolder::RTTI(L"CbBaseTypeRTTIHolder", nullptr, nullptr);

CbRTTI const& CbBaseTypeRTTIHolder::GetRTTI() const
{
    return RTTI;
}

wchar_t const* CbBaseTypeRTTIHolder::GetClassNameW() const
{
    return GetRTTI().GetName();
}

bool CbBaseTypeRTTIHolder::Is(CbRTTI const& record) const
{
    return &GetRTTI() == &record;
}

bool CbBaseTypeRTTIHolder::IsKindOf(CbRTTI const& record) const
{
    return GetRTTI().IsKindOf(record);
}
