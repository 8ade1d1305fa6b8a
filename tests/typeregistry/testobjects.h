// Objects for the registry to create. The registry knows IObject by name only, so any class of that name will do.

#ifndef ORVANE_TESTS_TYPEREGISTRY_TESTOBJECTS_H
#define ORVANE_TESTS_TYPEREGISTRY_TESTOBJECTS_H

#include <memory>

class IObject
{
public:
    explicit IObject(int value) : m_value(value)
    {
    }

    virtual ~IObject() = default;

    int m_value;
};

inline std::unique_ptr<IObject> createOne()
{
    return std::make_unique<IObject>(1);
}

inline std::unique_ptr<IObject> createTwo()
{
    return std::make_unique<IObject>(2);
}

inline std::unique_ptr<IObject> createThree()
{
    return std::make_unique<IObject>(3);
}

inline std::unique_ptr<IObject> cloneExactly(IObject const& original)
{
    return std::make_unique<IObject>(original.m_value);
}

inline std::unique_ptr<IObject> cloneDoubled(IObject const& original)
{
    return std::make_unique<IObject>(original.m_value * 2);
}

#endif // ORVANE_TESTS_TYPEREGISTRY_TESTOBJECTS_H
