// What every benchmark program consists of.

#ifndef ORVANE_BENCH_SUPPORT_BENCHMAIN_H
#define ORVANE_BENCH_SUPPORT_BENCHMAIN_H

/// Registers the program's rows, each by the name "row/library": rows of the same name are compared with each other,
/// and the library "orvane" is what the others are compared with. Defined by each program, called once by `main`.
void registerRows();

#endif // ORVANE_BENCH_SUPPORT_BENCHMAIN_H
