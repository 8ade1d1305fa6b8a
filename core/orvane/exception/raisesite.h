// How a raise site names itself: file, line and function.

#ifndef ORVANE_EXCEPTION_RAISESITE_H
#define ORVANE_EXCEPTION_RAISESITE_H

#include "logging/clogger.h"

/// What a source file that raises has in its anonymous namespace: its name, which is the bare stem, the same in every build,
/// and an object of the logger that exceptions write to. The logger is there from the start-up on, and the number of its
/// objects tells how many files may raise.
#define CB_RAISING_FILE(stem)                                                                                          \
    constexpr char const* c_SourceFile = stem;                                                                         \
    Logging::CLogger const s_exceptionLogger(L"Exception")

/// The first three arguments of an exception's constructor. `c_SourceFile` is the name that CB_RAISING_FILE gives, or a
/// constant at the head of a file that has its own.
#define CB_SITE(function) CB_SITE_AT(__LINE__, function)

/// The same with a line number that is published and must not drift when the file is edited.
#define CB_SITE_AT(line, function) c_SourceFile, line, function

#endif // ORVANE_EXCEPTION_RAISESITE_H
