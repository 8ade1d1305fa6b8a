// How a raise site names itself: file, line and function.

#ifndef ORVANE_EXCEPTION_RAISESITE_H
#define ORVANE_EXCEPTION_RAISESITE_H

/// The first three arguments of an exception's constructor. `c_SourceFile` is a constant at the head of the source
/// file: the bare stem of its name, the same in every build.
#define CB_SITE(function) CB_SITE_AT(__LINE__, function)

/// The same with a line number that is published and must not drift when the file is edited.
#define CB_SITE_AT(line, function) c_SourceFile, static_cast<unsigned int>(line), function

#endif // ORVANE_EXCEPTION_RAISESITE_H
