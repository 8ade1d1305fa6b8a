// How many rounds a stress test makes on this target.

#ifndef ORVANE_TESTS_PLATFORM_KERNEL_POSIX_PACE_H
#define ORVANE_TESTS_PLATFORM_KERNEL_POSIX_PACE_H

namespace kerneltest
{
/// Rounds are counted in those that are affordable where each call is a round trip to a server.
constexpr int c_Pace = 10;
} // namespace kerneltest

#endif // ORVANE_TESTS_PLATFORM_KERNEL_POSIX_PACE_H
