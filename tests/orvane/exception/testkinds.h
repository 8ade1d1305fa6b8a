// Exception kinds as clients write them.

#ifndef ORVANE_TESTS_EXCEPTION_TESTKINDS_H
#define ORVANE_TESTS_EXCEPTION_TESTKINDS_H

#include <atomic>
#include <memory>

#include "orvane/exception/cbexception.h"

/// A registered kind that logs under its own record: one constructor for each that CbException offers such kinds.
class CbExceptionClient : public CbException
{
public:
    static CbRTTI const RTTI;

    CbExceptionClient(char const* file, unsigned int line, char const* function)
        : CbException(file, line, function, RTTI)
    {
    }

    CbExceptionClient(char const* file, unsigned int line, char const* function, wchar_t const* message)
        : CbException(file, line, function, RTTI, message)
    {
    }

    CbExceptionClient(char const* file, unsigned int line, char const* function, IException const& inner)
        : CbException(file, line, function, inner, RTTI)
    {
    }

    CbExceptionClient(char const* file, unsigned int line, char const* function, IException const& inner,
                      wchar_t const* message)
        : CbException(file, line, function, inner, RTTI, message)
    {
    }

    CbRTTI const& GetRTTI() const override
    {
        ++s_timesAsked;
        return RTTI;
    }

    /// How often objects of this kind were asked for their record.
    inline static std::atomic<int> s_timesAsked = 0;

private:
    static std::unique_ptr<IObject> CloneByFactory(IObject const& object);
};

/// Registered without a clone function.
class CbExceptionUncloneable : public CbException
{
public:
    static CbRTTI const RTTI;

    CbExceptionUncloneable(char const* file, unsigned int line, char const* function)
        : CbException(file, line, function, RTTI)
    {
    }

    CbRTTI const& GetRTTI() const override
    {
        return RTTI;
    }
};

/// Its clone function gives something that is no exception.
class CbExceptionChangeling : public CbException
{
public:
    static CbRTTI const RTTI;

    CbExceptionChangeling(char const* file, unsigned int line, char const* function)
        : CbException(file, line, function, RTTI)
    {
    }

    CbRTTI const& GetRTTI() const override
    {
        return RTTI;
    }

    static int s_changelingsAlive;
};

/// Derived, but without a record of its own.
class CExceptionUnregistered : public CbException
{
public:
    using CbException::CbException;
};

/// A client's own light kind. It has a history of its own, which nobody outside can walk.
class CExceptionLight : public IException
{
public:
    explicit CExceptionLight(IException const* inner = nullptr) : m_history(inner != nullptr ? inner->Clone() : nullptr)
    {
    }

    std::unique_ptr<IException> Clone() const override
    {
        return std::make_unique<CExceptionLight>(*this);
    }

    char const* GetFilename() const override
    {
        return "light";
    }

    unsigned int GetCodeLine() const override
    {
        return 5;
    }

    char const* GetFunctionName() const override
    {
        return "CExceptionLight";
    }

    unsigned int GetThreadID() const override
    {
        return 0;
    }

private:
    std::shared_ptr<IException> m_history;
};

#endif // ORVANE_TESTS_EXCEPTION_TESTKINDS_H
