#include "orvane/exception/testkinds.h"

#include "orvane/object/classrecord.h"

namespace
{
class CChangeling : public IObject
{
public:
    CChangeling()
    {
        ++CbExceptionChangeling::s_changelingsAlive;
    }

    CChangeling(CChangeling const&) = delete;
    CChangeling& operator=(CChangeling const&) = delete;

    ~CChangeling() override
    {
        --CbExceptionChangeling::s_changelingsAlive;
    }

    CbRTTI const& GetRTTI() const override
    {
        return CbExceptionChangeling::RTTI;
    }

    wchar_t const* GetClassNameW() const override
    {
        return GetRTTI().GetName();
    }
};

std::unique_ptr<IObject> makeChangeling(IObject const&)
{
    return std::make_unique<CChangeling>();
}
} // namespace

CbRTTI const CbExceptionClient::RTTI(L"CbExceptionClient", CbException::RTTI, nullptr,
                                     &CbExceptionClient::CloneByFactory);

std::unique_ptr<IObject> CbExceptionClient::CloneByFactory(IObject const& object)
{
    return Factory::Clone<CbExceptionClient>(object);
}

CbRTTI const CbExceptionUncloneable::RTTI(L"CbExceptionUncloneable", CbException::RTTI, nullptr, nullptr);

CbRTTI const CbExceptionChangeling::RTTI(L"CbExceptionChangeling", CbException::RTTI, nullptr, makeChangeling);
int CbExceptionChangeling::s_changelingsAlive = 0;
