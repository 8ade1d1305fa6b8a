// The judge of the random scripts has to know right from wrong.

#include <algorithm>
#include <initializer_list>
#include <vector>

#include "history.h"
#include "gtest/gtest.h"

using namespace kerneltest;

namespace
{
SCall make(ECall call, unsigned char thread, std::initializer_list<unsigned char> objects, DWORD result,
           unsigned long long begin, unsigned long long end, DWORD timeoutMs = 0)
{
    SCall made;
    made.call = call;
    made.thread = thread;
    made.count = static_cast<unsigned char>(objects.size());
    std::copy(objects.begin(), objects.end(), made.objects.begin());
    made.timeoutMs = timeoutMs;
    made.result = result;
    made.begin = begin;
    made.end = end;
    return made;
}

SCall failing(SCall call, DWORD error)
{
    call.result = 0;
    call.error = error;
    return call;
}

SCall releasing(unsigned char object, int amount, int previous, unsigned long long begin, unsigned long long end)
{
    SCall call = make(eReleaseSemaphore, 0, {object}, 1, begin, end);
    call.amount = amount;
    call.previous = previous;
    return call;
}

const SObject c_Auto{eAutoEvent, 0, 1};
const SObject c_AutoSet{eAutoEvent, 1, 1};
const SObject c_Manual{eManualEvent, 0, 1};
const SObject c_Mutex{eMutex, 0, 0};
} // namespace

TEST(Explain, TakesAnEmptyHistory)
{
    EXPECT_EQ(explain({c_Auto}, {}), eExplained);
}

TEST(Explain, TakesASetThatOneOfTwoWaitsConsumes)
{
    EXPECT_EQ(explain({c_Auto}, {make(eSet, 0, {0}, 1, 1, 2), make(eWaitAny, 1, {0}, 0, 3, 4),
                                 make(eWaitAny, 2, {0}, WAIT_TIMEOUT, 5, 6)}),
              eExplained);
}

TEST(Explain, RefusesASignalThatIsTakenTwice)
{
    EXPECT_EQ(explain({c_Auto},
                      {make(eSet, 0, {0}, 1, 1, 2), make(eWaitAny, 1, {0}, 0, 3, 6), make(eWaitAny, 2, {0}, 0, 4, 5)}),
              eUnexplained);
}

TEST(Explain, RefusesASignalThatIsLost)
{
    EXPECT_EQ(explain({c_Auto}, {make(eSet, 0, {0}, 1, 1, 2), make(eWaitAny, 1, {0}, WAIT_TIMEOUT, 3, 4, 10)}),
              eUnexplained);
}

TEST(Explain, TakesAWaitThatOverlapsTheSetEitherWay)
{
    EXPECT_EQ(explain({c_Auto}, {make(eSet, 0, {0}, 1, 1, 4), make(eWaitAny, 1, {0}, WAIT_TIMEOUT, 2, 3)}), eExplained);
    EXPECT_EQ(explain({c_Auto}, {make(eSet, 0, {0}, 1, 1, 4), make(eWaitAny, 1, {0}, 0, 2, 3)}), eExplained);
}

TEST(Explain, RefusesASignalBeforeItsSet)
{
    EXPECT_EQ(explain({c_Auto}, {make(eSet, 0, {0}, 1, 3, 4), make(eWaitAny, 1, {0}, 0, 1, 2)}), eUnexplained);
}

TEST(Explain, RefusesAnIndexThatIsNotTheLowest)
{
    EXPECT_EQ(explain({c_AutoSet, c_AutoSet}, {make(eWaitAny, 0, {0, 1}, 1, 1, 2)}), eUnexplained);
    EXPECT_EQ(explain({c_AutoSet, c_AutoSet}, {make(eWaitAny, 0, {1, 0}, 0, 1, 2)}), eExplained);
}

TEST(Explain, RefusesAWaitForAllThatTakesAPartOnly)
{
    EXPECT_EQ(explain({c_AutoSet, c_Auto},
                      {make(eWaitAll, 0, {0, 1}, WAIT_TIMEOUT, 1, 2), make(eWaitAny, 0, {0}, WAIT_TIMEOUT, 3, 4)}),
              eUnexplained);
    EXPECT_EQ(explain({c_AutoSet, c_AutoSet}, {make(eWaitAll, 0, {0, 1}, 0, 1, 2), make(eWaitAny, 0, {1}, 0, 3, 4)}),
              eUnexplained);
}

TEST(Explain, RefusesAWaitForAllThatIsHalfwaySeen)
{
    // A second thread sees the first member gone and then the other one still there, while the wait lasts.
    const std::vector<SCall> calls{make(eWaitAll, 0, {0, 1}, 0, 1, 10), make(eWaitAny, 1, {0}, WAIT_TIMEOUT, 2, 3),
                                   make(eWaitAny, 1, {1}, 0, 4, 5), make(eSet, 1, {1}, 1, 6, 7)};
    EXPECT_EQ(explain({c_AutoSet, c_AutoSet}, calls), eUnexplained);
}

TEST(Explain, RefusesAWaitForAllThatIsRolledBack)
{
    // Without a wait that could take it, the first member cannot be seen unset.
    const std::vector<SCall> calls{make(eWaitAll, 0, {0, 1}, WAIT_TIMEOUT, 1, 10, 5),
                                   make(eWaitAny, 1, {0}, WAIT_TIMEOUT, 2, 3)};
    EXPECT_EQ(explain({c_AutoSet, c_Auto}, calls), eUnexplained);
}

TEST(Explain, FollowsTheOwnerOfAMutex)
{
    EXPECT_EQ(explain({c_Mutex}, {make(eWaitAny, 1, {0}, 0, 1, 2), make(eWaitAny, 1, {0}, 0, 3, 4),
                                  make(eReleaseMutex, 1, {0}, 1, 5, 6), make(eWaitAny, 2, {0}, WAIT_TIMEOUT, 7, 8),
                                  failing(make(eReleaseMutex, 2, {0}, 0, 9, 10), 288),
                                  make(eReleaseMutex, 1, {0}, 1, 11, 12), make(eWaitAny, 2, {0}, 0, 13, 14)}),
              eExplained);
    EXPECT_EQ(explain({c_Mutex}, {make(eWaitAny, 1, {0}, 0, 1, 2), make(eWaitAny, 2, {0}, 0, 3, 4)}), eUnexplained);
    EXPECT_EQ(explain({c_Mutex}, {make(eReleaseMutex, 1, {0}, 1, 1, 2)}), eUnexplained);
}

TEST(Explain, WantsAnAbandonedMutexToBeToldOnce)
{
    const SCall taken = make(eWaitAny, 1, {0}, 0, 1, 2);
    const SCall end = make(eThreadEnd, 1, {0}, 0, 3, 4);
    EXPECT_EQ(explain({c_Mutex}, {taken, end, make(eWaitAny, 2, {0}, WAIT_ABANDONED_0, 5, 6)}), eExplained);
    EXPECT_EQ(explain({c_Mutex}, {taken, end, make(eWaitAny, 2, {0}, 0, 5, 6)}), eUnexplained);
    EXPECT_EQ(explain({c_Mutex}, {taken, end, make(eWaitAny, 2, {0}, WAIT_ABANDONED_0, 5, 6),
                                  make(eWaitAny, 2, {0}, WAIT_ABANDONED_0, 7, 8)}),
              eUnexplained);
    EXPECT_EQ(explain({c_Mutex}, {taken, end, make(eWaitAny, 2, {0}, WAIT_TIMEOUT, 5, 6, 100)}), eUnexplained);
}

TEST(Explain, CountsASemaphore)
{
    const SObject semaphore{eSemaphore, 1, 2};
    EXPECT_EQ(explain({semaphore}, {releasing(0, 1, 1, 1, 2), make(eWaitAny, 1, {0}, 0, 3, 4),
                                    make(eWaitAny, 1, {0}, 0, 5, 6), make(eWaitAny, 1, {0}, WAIT_TIMEOUT, 7, 8)}),
              eExplained);
    EXPECT_EQ(explain({semaphore}, {releasing(0, 1, 0, 1, 2)}), eUnexplained);
    EXPECT_EQ(explain({semaphore}, {releasing(0, 2, 1, 1, 2)}), eUnexplained);
    EXPECT_EQ(explain({semaphore}, {failing(releasing(0, 2, 0, 1, 2), 298)}), eExplained);
    EXPECT_EQ(explain({semaphore}, {failing(releasing(0, 1, 0, 1, 2), 298)}), eUnexplained);
}

TEST(Explain, LetsAPulseReleaseWaitsThatBlockAndNothingElse)
{
    const SCall pulse = make(ePulse, 0, {0}, 1, 3, 4);
    EXPECT_EQ(explain({c_Manual}, {pulse, make(eWaitAny, 1, {0}, 0, 1, 6, 9), make(eWaitAny, 2, {0}, 0, 2, 5, 9)}),
              eExplained);
    EXPECT_EQ(explain({c_Manual}, {pulse, make(eWaitAny, 1, {0}, WAIT_TIMEOUT, 1, 6, 9)}), eExplained);
    EXPECT_EQ(explain({c_Manual}, {pulse, make(eWaitAny, 1, {0}, 0, 5, 6, 9)}), eUnexplained);
    EXPECT_EQ(explain({c_Manual}, {pulse, make(eWaitAny, 1, {0}, 0, 1, 6, 0)}), eUnexplained);
    EXPECT_EQ(explain({c_Auto}, {pulse, make(eWaitAny, 1, {0}, 0, 1, 6, 9), make(eWaitAny, 2, {0}, 0, 2, 5, 9)}),
              eUnexplained)
        << "an automatic event releases one";
    EXPECT_EQ(explain({c_Auto}, {pulse, make(eWaitAny, 1, {0}, WAIT_TIMEOUT, 5, 6)}), eExplained);
    EXPECT_EQ(explain({c_AutoSet}, {pulse, make(eWaitAny, 1, {0}, 0, 5, 6)}), eUnexplained);
}
