// How many rounds a stress test makes on this target.

#ifndef ORVANE_TESTS_PLATFORM_KERNEL_WIN32_PACE_H
#define ORVANE_TESTS_PLATFORM_KERNEL_WIN32_PACE_H

namespace kerneltest
{
/// Each call on a kernel object is a round trip to the server under Wine: a tenth of what the native layer does.
constexpr int c_Pace = 1;
} // namespace kerneltest

#endif // ORVANE_TESTS_PLATFORM_KERNEL_WIN32_PACE_H
