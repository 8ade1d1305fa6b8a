// Results that the caller must look at.

#ifndef ORVANE_EXCEPTION_CBCHECKRETURN_H
#define ORVANE_EXCEPTION_CBCHECKRETURN_H

#include <cassert>
#include <exception>

/// Reacts to a result that nobody examined: a failed assertion in debug builds, nothing in release builds.
class CbCheckReturnPolicyAssert
{
public:
    static void OnUnexamined() noexcept
    {
        assert(false && "a result that must be examined was dropped");
    }
};

/// A result that must be examined before it goes away: read it, or say Ignore().
///
/// The value comes first and the examined flag behind it. A copy starts unexamined; what is copied from counts as
/// examined, since the copy now answers for it.
/// Threads: belongs to one thread.
template <class T, class P>
class [[nodiscard]] CbCheckReturn
{
public:
    CbCheckReturn(T value) noexcept : m_value(value)
    {
    }

    CbCheckReturn(CbCheckReturn const& other) noexcept : m_value(other.m_value)
    {
        other.m_examined = true;
    }

    CbCheckReturn& operator=(CbCheckReturn const& other) noexcept
    {
        m_value = other.m_value;
        m_examined = this == &other && m_examined;
        other.m_examined = other.m_examined || this != &other;
        return *this;
    }

    ~CbCheckReturn()
    {
        // While an exception unwinds the stack nobody can be expected to look.
        if (!m_examined && std::uncaught_exceptions() == 0)
        {
            P::OnUnexamined();
        }
    }

    /// The value; examined from now on.
    operator T() const noexcept
    {
        return Get();
    }

    /// The value; examined from now on.
    T Get() const noexcept
    {
        m_examined = true;
        return m_value;
    }

    /// States that the value does not matter here; examined from now on.
    void Ignore() const noexcept
    {
        m_examined = true;
    }

    /// Whether the value was read or ignored. Asking does not count as examining.
    bool IsExamined() const noexcept
    {
        return m_examined;
    }

private:
    T m_value;
    mutable bool m_examined = false;
};

#endif // ORVANE_EXCEPTION_CBCHECKRETURN_H
