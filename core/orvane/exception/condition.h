// Conditions that must hold: one way to report those that do not, and a guard that checks a scope at both ends.

#ifndef ORVANE_EXCEPTION_CONDITION_H
#define ORVANE_EXCEPTION_CONDITION_H

#include <functional>

#include "mfc/cstringt.h"
#include "orvane/export.h"

namespace Condition
{
/// What is done about a condition that does not hold.
enum EConditionHandling : unsigned int
{
    eHandlingWarn,    // a warning in the log
    eHandlingWarnAlt, // the same; CbInvariant<1> passes it on
    eHandlingThrow    // the warning, then CbExceptionCondition
};

/// Writes the warning "Unfulfilled Condition" for that site to the logger "Condition".
/// Raises: CbExceptionCondition with the site's file, line and function where `handling` is eHandlingThrow; any other
/// value returns. What a sink of the log throws comes through, that of a plain warning too.
/// Threads: any.
ORVANE_API void HandleUnfulfilledCondition(char const* file, unsigned int line, char const* function,
                                           EConditionHandling handling);

/// Checks a predicate when it is made and again when it is destroyed; N is the handling (EConditionHandling).
///
/// A copy does not check when it is made, but when it is destroyed.
/// CbInvariant<2> throws from its destructor where the invariant fails on leaving the scope, and so ends the process:
/// code that has broken a strict invariant does not go on. With any other N a sink of the log that throws at the
/// destructor's warning ends it too.
/// Threads: belongs to one thread.
template <int N>
class CbInvariant
{
public:
    /// Raises: std::bad_function_call for an empty predicate; what the predicate raises; for N = 2 CbExceptionCondition
    /// where the predicate is false; what a sink of the log throws at the warning.
    CbInvariant(char const* file, unsigned int line, char const* function, std::function<bool()> predicate)
        : m_filename(file),
          m_codeLine(line),
          m_functionName(function),
          m_predicate(std::move(predicate))
    {
        evaluate();
    }

    CbInvariant(CbInvariant const&) = default;
    CbInvariant& operator=(CbInvariant const&) = default;

    /// Anything that is raised here, an empty predicate's std::bad_function_call included, ends the process.
    virtual ~CbInvariant()
    {
        evaluate();
    }

private:
    void evaluate() const
    {
        // An empty predicate raises std::bad_function_call.
        if (!m_predicate())
        {
            HandleUnfulfilledCondition(m_filename.GetString(), m_codeLine, m_functionName.GetString(),
                                       static_cast<EConditionHandling>(N));
        }
    }

    CStringA m_filename;
    unsigned int m_codeLine;
    CStringA m_functionName;
    std::function<bool()> m_predicate;
};

/// Stands for an invariant that is not checked: a type that can be assigned, and nothing else.
template <>
class CbInvariant<3>
{
public:
    CbInvariant& operator=(CbInvariant const&) = default;
    CbInvariant& operator=(CbInvariant&&) = default;
};
} // namespace Condition

#endif // ORVANE_EXCEPTION_CONDITION_H
