#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "typeregistry/cbrtti.h"
#include "typeregistry/testobjects.h"

namespace
{
constexpr int c_Threads = 16;
constexpr int c_SharedNames = 8;
constexpr int c_Rounds = 400;

std::wstring privateName(int thread, int round)
{
    return L"Stress.Private." + std::to_wstring(thread) + L"." + std::to_wstring(round);
}

std::wstring sharedName(int number)
{
    return L"Stress.Shared." + std::to_wstring(number % c_SharedNames);
}
} // namespace

// What holds in every interleaving: a name that only one thread uses is found exactly while its record lives, a shared
// name is found at least while the asking thread has a record of it, and a name that stays is always found.
TEST(CbRTTIStress, ThreadsRegisterLookUpAndDestroyAtTheSameTime)
{
    const CbRTTI permanent(L"Stress.Permanent", createThree, cloneDoubled);
    std::atomic<int> failures{0};
    const auto expect = [&](bool holds) { failures += holds ? 0 : 1; };

    const auto work = [&](int thread)
    {
        for (int round = 0; round < c_Rounds; ++round)
        {
            // A new name each round: the registry's table grows under the look-ups of the other threads.
            const auto own = privateName(thread, round);
            const auto shared = sharedName(thread + round);
            expect(CbRTTI::Find(own.c_str()) == nullptr);
            {
                const CbRTTI ownRecord(own.c_str(), permanent, createOne, cloneExactly);
                const CbRTTI sharedRecord(shared.c_str(), createTwo, cloneExactly);
                expect(CbRTTI::Find(own.c_str()) == &ownRecord);
                expect(CbRTTI::getCreate(own.c_str()) == &createOne);
                expect(CbRTTI::Find(shared.c_str()) != nullptr);
                expect(CbRTTI::getCreate(shared.c_str()) == &createTwo);
                expect(CbRTTI::getClone(shared.c_str()) == &cloneExactly);
                expect(ownRecord.IsKindOf(permanent));
            }
            expect(CbRTTI::Find(own.c_str()) == nullptr);
            expect(CbRTTI::getCreate(own.c_str()) == nullptr);
            expect(CbRTTI::Find(L"Stress.Permanent") == &permanent);
            expect(CbRTTI::getClone(L"Stress.Permanent") == &cloneDoubled);
            // Another thread's name: found or not, but the answer is one of the two.
            const auto create = CbRTTI::getCreate(privateName((thread + 1) % c_Threads, round).c_str());
            expect(create == nullptr || create == &createOne);
        }
    };
    {
        std::vector<std::jthread> threads;
        for (int thread = 0; thread < c_Threads; ++thread)
        {
            threads.emplace_back(work, thread);
        }
    }

    EXPECT_EQ(failures.load(), 0);
    for (int n = 0; n < c_SharedNames; ++n)
    {
        EXPECT_EQ(CbRTTI::Find(sharedName(n).c_str()), nullptr) << n;
    }
}

TEST(CbRTTIStress, RecordsOfOneNameThatGoInAnyOrderLeaveNothingBehind)
{
    std::vector<std::jthread> threads;
    for (int thread = 0; thread < c_Threads; ++thread)
    {
        threads.emplace_back(
            [thread]
            {
                for (int round = 0; round < c_Rounds; ++round)
                {
                    auto older = std::make_unique<CbRTTI>(L"Stress.OneName", createOne, nullptr);
                    auto younger = std::make_unique<CbRTTI>(L"Stress.OneName", createOne, nullptr);
                    ((thread + round) % 2 == 0 ? older : younger).reset();
                }
            });
    }
    threads.clear();

    EXPECT_EQ(CbRTTI::Find(L"Stress.OneName"), nullptr);
    const CbRTTI after(L"Stress.OneName", createTwo, nullptr);
    EXPECT_EQ(CbRTTI::Find(L"Stress.OneName"), &after);
}
