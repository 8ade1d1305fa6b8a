// A reference-counted class that tells what happens to it.

#ifndef ORVANE_TESTS_ORVANE_MEMORY_COUNTED_H
#define ORVANE_TESTS_ORVANE_MEMORY_COUNTED_H

#include <functional>
#include <string>
#include <vector>

#include "orvane/memory/cbsmartpointer.h"

namespace memorytest
{
using Counter = CbReferenceCounter<unsigned int>;
using Events = std::vector<std::string>;

/// Writes "name: counter" each time it is asked for its counter, and "name: end" when it is destroyed.
class CCounted : public IReferenceCounted
{
public:
    CCounted(std::string name, Events& events) : m_name(std::move(name)), m_events(&events)
    {
    }

    CCounted(CCounted const&) = default;
    CCounted& operator=(CCounted const&) = default;

    ~CCounted() override
    {
        m_events->push_back(m_name + ": end");
        if (atEnd)
        {
            atEnd();
        }
    }

    /// The counter, past the records.
    Counter const& GetCounter() const
    {
        return m_counter;
    }

    unsigned int GetCount() const
    {
        return m_counter.GetCount();
    }

    std::function<void()> atCounter; // called when the counter is asked for
    std::function<void()> atEnd;     // called by the destructor

protected:
    Counter const& getReferenceCounter() const override
    {
        m_events->push_back(m_name + ": counter");
        if (atCounter)
        {
            atCounter();
        }
        return m_counter;
    }

private:
    std::string m_name;
    Events* m_events;
    Counter m_counter;
};
} // namespace memorytest

#endif // ORVANE_TESTS_ORVANE_MEMORY_COUNTED_H
