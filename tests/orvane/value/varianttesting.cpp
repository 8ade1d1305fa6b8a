#include "orvane/value/varianttesting.h"

CB_IMPLEMENT_CLASS(CVariantThing);

CbRTTI const CVariantStone::RTTI(L"CVariantStone", nullptr, nullptr);
