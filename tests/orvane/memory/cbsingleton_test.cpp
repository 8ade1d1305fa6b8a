#include "orvane/memory/cbsingleton.h"

#include <algorithm>
#include <atomic>
#include <mutex>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/runprogram.h"

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

using Singleton::ELogEvent;

static_assert(Singleton::eInstanceCreated == 0 && Singleton::eInstanceDestroying == 1);
static_assert(Singleton::eInstanceDestroyed == 2 && Singleton::eAllDestroyed == 3);

namespace
{
using Reports = std::vector<std::pair<ELogEvent, std::wstring>>;

std::mutex s_lock;
Reports s_reports; // guarded by s_lock

void remember(ELogEvent event, wchar_t const* line)
{
    std::lock_guard const guard(s_lock);
    s_reports.emplace_back(event, line);
}

void discard(ELogEvent, wchar_t const*)
{
}

// Listens as long as the test runs.
class CListening : public testing::Test
{
protected:
    CListening()
    {
        s_reports.clear();
        Singleton::SetLogListener(&remember);
    }

    ~CListening() override
    {
        Singleton::SetLogListener(nullptr);
    }

    static Reports reports()
    {
        std::lock_guard const guard(s_lock);
        return s_reports;
    }
};

using SingletonLog = CListening;
using SingletonCounter = CListening;
using CbSingletonInstance = CListening;
} // namespace

TEST_F(SingletonLog, ComposesALineForEachEvent)
{
    Singleton::Log(Singleton::eInstanceCreated, "CName");
    Singleton::Log(Singleton::eInstanceDestroying, "CName");
    Singleton::Log(Singleton::eInstanceDestroyed, "CName");
    Singleton::Log(Singleton::eAllDestroyed, nullptr);

    EXPECT_THAT(reports(),
                ElementsAre(Pair(Singleton::eInstanceCreated, L"Singleton instance 'CName': created."),
                            Pair(Singleton::eInstanceDestroying, L"Singleton instance 'CName': being destroyed..."),
                            Pair(Singleton::eInstanceDestroyed, L"Singleton instance 'CName': destroyed."),
                            Pair(Singleton::eAllDestroyed, L"All singleton instances destroyed.\n")));
}

TEST_F(SingletonLog, TakesNullForAnEmptyName)
{
    Singleton::Log(Singleton::eInstanceCreated, nullptr);
    Singleton::Log(Singleton::eInstanceDestroying, nullptr);
    Singleton::Log(Singleton::eInstanceDestroyed, nullptr);

    EXPECT_THAT(reports(), ElementsAre(Pair(testing::_, L"Singleton instance '': created."),
                                       Pair(testing::_, L"Singleton instance '': being destroyed..."),
                                       Pair(testing::_, L"Singleton instance '': destroyed.")));
}

TEST_F(SingletonLog, CutsSixCharactersOfANameThatHoldsClassAnywhere)
{
    Singleton::Log(Singleton::eInstanceCreated, "class CbThreadPool");
    Singleton::Log(Singleton::eInstanceCreated, "subclass CPool");
    Singleton::Log(Singleton::eInstanceCreated, "CHolder<class CPool>");
    Singleton::Log(Singleton::eInstanceCreated, "class ");

    EXPECT_THAT(reports(), ElementsAre(Pair(testing::_, L"Singleton instance 'CbThreadPool': created."),
                                       Pair(testing::_, L"Singleton instance 'ss CPool': created."),
                                       Pair(testing::_, L"Singleton instance 'r<class CPool>': created."),
                                       Pair(testing::_, L"Singleton instance '': created.")));
}

TEST_F(SingletonLog, LeavesNamesWithoutThatWordAlone)
{
    Singleton::Log(Singleton::eInstanceCreated, "classCPool");
    Singleton::Log(Singleton::eInstanceCreated, "struct SPool");

    EXPECT_THAT(reports(), ElementsAre(Pair(testing::_, L"Singleton instance 'classCPool': created."),
                                       Pair(testing::_, L"Singleton instance 'struct SPool': created.")));
}

TEST_F(SingletonLog, SaysNothingForAnUnknownEvent)
{
    Singleton::Log(static_cast<ELogEvent>(4), "CName");
    Singleton::Log(static_cast<ELogEvent>(0xFFFFFFFF), nullptr);

    EXPECT_THAT(reports(), IsEmpty());
}

TEST_F(SingletonLog, IgnoresTheNameWhereAllAreDestroyed)
{
    Singleton::Log(Singleton::eAllDestroyed, "CName");

    EXPECT_THAT(reports(), ElementsAre(Pair(Singleton::eAllDestroyed, L"All singleton instances destroyed.\n")));
}

TEST(SingletonLogListener, IsAnsweredByTheNextCall)
{
    EXPECT_EQ(Singleton::SetLogListener(&discard), nullptr);
    EXPECT_EQ(Singleton::SetLogListener(&remember), &discard);
    EXPECT_EQ(Singleton::SetLogListener(nullptr), &remember);
    EXPECT_EQ(Singleton::SetLogListener(nullptr), nullptr);
}

TEST(SingletonLogListener, NeedNotBeThere)
{
    s_reports.clear();
    Singleton::Log(Singleton::eInstanceCreated, "CName");
    EXPECT_THAT(s_reports, IsEmpty());
}

TEST_F(SingletonCounter, CountsAndReportsWithTheNameItIsGiven)
{
    unsigned int const before = Singleton::GetSingletonCount();

    Singleton::IncrementSingletonCounter("class CName");
    EXPECT_EQ(Singleton::GetSingletonCount(), before + 1);
    EXPECT_THAT(reports(), ElementsAre(Pair(Singleton::eInstanceCreated, L"Singleton instance 'CName': created.")));

    Singleton::IncrementSingletonCounter("other");
    s_reports.clear();
    Singleton::DecrementSingletonCounter("other");
    EXPECT_EQ(Singleton::GetSingletonCount(), before + 1);
    EXPECT_THAT(reports(), ElementsAre(Pair(Singleton::eInstanceDestroyed, L"Singleton instance 'other': destroyed.")));
    Singleton::DecrementSingletonCounter("class CName");
}

TEST_F(SingletonCounter, ReportsTheLastOneOnce)
{
    unsigned int const others = Singleton::GetSingletonCount();
    for (unsigned int n = 0; n < others; ++n)
    {
        Singleton::DecrementSingletonCounter("");
    }
    s_reports.clear();

    Singleton::IncrementSingletonCounter("a");
    Singleton::IncrementSingletonCounter("b");
    Singleton::DecrementSingletonCounter("b");
    Singleton::DecrementSingletonCounter("a");
    EXPECT_THAT(reports(), ElementsAre(Pair(testing::_, L"Singleton instance 'a': created."),
                                       Pair(testing::_, L"Singleton instance 'b': created."),
                                       Pair(testing::_, L"Singleton instance 'b': destroyed."),
                                       Pair(testing::_, L"Singleton instance 'a': destroyed."),
                                       Pair(Singleton::eAllDestroyed, L"All singleton instances destroyed.\n")));

    for (unsigned int n = 0; n < others; ++n)
    {
        Singleton::IncrementSingletonCounter("");
    }
}

TEST(SingletonIsStaticInit, IsAlwaysFalse)
{
    EXPECT_FALSE(Singleton::IsStaticInit());
}

TEST(SingletonLock, IsOneRecursiveLock)
{
    CbCriticalSection& lock = Singleton::GetCriticalSectionSingleton();
    CbCriticalSectionAuto const holder(lock);
    CbCriticalSectionAuto const again(Singleton::GetCriticalSectionSingleton());

    EXPECT_EQ(&lock, &Singleton::GetCriticalSectionSingleton());
    EXPECT_EQ(lock.GetRecursionCount(), 2);
}

class CSingletonNamed
{
};

struct SSingletonNamed
{
};

TEST(SingletonTypeName, IsTheReadableNameBehindClass)
{
    EXPECT_EQ(Singleton::detail::GetTypeName(typeid(CSingletonNamed)), "class CSingletonNamed");
    EXPECT_EQ(Singleton::detail::GetTypeName(typeid(SSingletonNamed)), "class SSingletonNamed");
    EXPECT_EQ(Singleton::detail::GetTypeName(typeid(CbCriticalSection)), "class CbCriticalSection");
}

class CMadeOnce : public CbSingleton<CMadeOnce>
{
public:
    using CbSingleton<CMadeOnce>::s_pInstance;
};

static_assert(!std::is_constructible_v<CbSingleton<CMadeOnce>>);
static_assert(std::is_same_v<decltype(CMadeOnce::s_pInstance), CMadeOnce*>);
static_assert(std::is_same_v<decltype(CMadeOnce::GetInstance()), CMadeOnce&>);

TEST_F(CbSingletonInstance, IsMadeAtTheFirstRequestAndStays)
{
    unsigned int const before = Singleton::GetSingletonCount();
    EXPECT_FALSE(CbSingleton<CMadeOnce>::HasInstance());
    EXPECT_EQ(CMadeOnce::s_pInstance, nullptr);
    EXPECT_EQ(Singleton::GetSingletonCount(), before);

    CMadeOnce const& instance = CbSingleton<CMadeOnce>::GetInstance();
    EXPECT_EQ(&CMadeOnce::GetInstance(), &instance);
    EXPECT_EQ(CMadeOnce::s_pInstance, &instance);
    EXPECT_TRUE(CbSingleton<CMadeOnce>::HasInstance());
    EXPECT_EQ(Singleton::GetSingletonCount(), before + 1);
    EXPECT_THAT(reports(), ElementsAre(Pair(Singleton::eInstanceCreated, L"Singleton instance 'CMadeOnce': created.")));
}

// Its constructor lasts until all who race stand at the gate, and then long enough for them to come to the lock.
class CRaced
{
public:
    static constexpr int c_Threads = 16;

    CRaced()
    {
        ++s_made;
        for (int more = 1'000; s_asking < c_Threads || more > 0; more -= s_asking < c_Threads ? 0 : 1)
        {
            std::this_thread::yield();
        }
    }

    static inline std::atomic<int> s_asking = 0;
    static inline std::atomic<int> s_made = 0;
};

TEST_F(CbSingletonInstance, IsOneForSixteenThreadsThatRaceForIt)
{
    std::vector<CRaced*> seen(CRaced::c_Threads);
    std::vector<std::thread> threads;
    for (CRaced*& place : seen)
    {
        threads.emplace_back(
            [&place]
            {
                ++CRaced::s_asking;
                place = &CbSingleton<CRaced>::GetInstance();
            });
    }
    for (std::thread& thread : threads)
    {
        thread.join();
    }

    EXPECT_EQ(CRaced::s_made, 1);
    EXPECT_EQ(std::count(seen.begin(), seen.end(), &CbSingleton<CRaced>::GetInstance()), CRaced::c_Threads);
    EXPECT_THAT(reports(), ElementsAre(Pair(Singleton::eInstanceCreated, L"Singleton instance 'CRaced': created.")));
}

class CRefusing
{
public:
    CRefusing()
    {
        if (s_refusals-- > 0)
        {
            throw std::runtime_error("refused");
        }
    }

    static inline int s_refusals = 1;
};

TEST_F(CbSingletonInstance, IsTriedAgainAfterItsConstructorRaised)
{
    unsigned int const before = Singleton::GetSingletonCount();
    EXPECT_THROW(CbSingleton<CRefusing>::GetInstance(), std::runtime_error);
    EXPECT_FALSE(CbSingleton<CRefusing>::HasInstance());
    EXPECT_EQ(Singleton::GetSingletonCount(), before);
    EXPECT_THAT(reports(), IsEmpty());
    EXPECT_TRUE(Singleton::GetCriticalSectionSingleton().IsLocking(0));

    CbSingleton<CRefusing>::GetInstance();
    EXPECT_TRUE(CbSingleton<CRefusing>::HasInstance());
}

class CLocked
{
public:
    CLocked() : wasLocked(Singleton::GetCriticalSectionSingleton().IsLocking())
    {
    }

    bool const wasLocked;
};

TEST_F(CbSingletonInstance, IsMadeUnderTheSingletonLock)
{
    EXPECT_TRUE(CbSingleton<CLocked>::GetInstance().wasLocked);
    EXPECT_FALSE(Singleton::GetCriticalSectionSingleton().IsLocking());
}

TEST_F(CbSingletonInstance, IsHandedOutWithoutTheLock)
{
    CbSingleton<CLocked>::GetInstance();
    CbCriticalSectionAuto const holder(Singleton::GetCriticalSectionSingleton());
    CLocked const* seen = nullptr;

    std::thread([&] { seen = &CbSingleton<CLocked>::GetInstance(); }).join();
    EXPECT_EQ(seen, &CbSingleton<CLocked>::GetInstance());
}

class CLookedFor
{
};

TEST_F(CbSingletonInstance, IsLookedForUnderTheLock)
{
    CbCriticalSectionAuto holder(Singleton::GetCriticalSectionSingleton());
    std::atomic<bool> isAsking = false;
    std::atomic<bool> hasAnswered = false;
    bool answer = false;
    std::thread other(
        [&]
        {
            isAsking = true;
            answer = CbSingleton<CLookedFor>::HasInstance();
            hasAnswered = true;
        });
    while (!isAsking)
    {
        std::this_thread::yield();
    }
    // Time in which an answer without the lock would come; with it none can.
    for (int n = 0; n < 1'000; ++n)
    {
        std::this_thread::yield();
    }
    EXPECT_FALSE(hasAnswered);
    CbSingleton<CLookedFor>::GetInstance();
    holder.Leave();
    other.join();
    EXPECT_TRUE(answer);
}

namespace
{
// What a process with that end printed.
std::vector<std::string> linesOf(std::string const& end)
{
    SProgramRun const run = runProgram(ORVANE_SINGLETON_PROBE, end);
    EXPECT_TRUE(run.succeeded);
    EXPECT_EQ(run.errors, "");
    std::vector<std::string> lines;
    std::istringstream text(run.output);
    for (std::string line; std::getline(text, line);)
    {
        lines.push_back(line.substr(0, line.find('\r')));
    }
    return lines;
}
} // namespace

TEST(CbSingletonExit, DestroysInTheReverseOrderOfTheFirstRequests)
{
    EXPECT_THAT(linesOf("order"), ElementsAre("0 Singleton instance 'CbPerformanceCounter': created.",           //
                                              "0 Singleton instance 'CSecond': created.",                        //
                                              "0 Singleton instance 'CFirst': created.",                         //
                                              "1 Singleton instance 'CFirst': being destroyed...",               //
                                              "2 Singleton instance 'CFirst': destroyed.",                       //
                                              "1 Singleton instance 'CSecond': being destroyed...",              //
                                              "  CSecond goes, 2 left",                                          //
                                              "2 Singleton instance 'CSecond': destroyed.",                      //
                                              "1 Singleton instance 'CbPerformanceCounter': being destroyed...", //
                                              "2 Singleton instance 'CbPerformanceCounter': destroyed.",         //
                                              "3 All singleton instances destroyed.", ""));
}

TEST(CbSingletonExit, DestroysWhatAConstructorAskedForBeforeTheOneThatAsked)
{
    EXPECT_THAT(linesOf("nested"), ElementsAre("0 Singleton instance 'CFirst': created.",           //
                                               "0 Singleton instance 'CThird': created.",           //
                                               "1 Singleton instance 'CFirst': being destroyed...", //
                                               "2 Singleton instance 'CFirst': destroyed.",         //
                                               "1 Singleton instance 'CThird': being destroyed...", //
                                               "2 Singleton instance 'CThird': destroyed.",         //
                                               "3 All singleton instances destroyed.", ""));
}

TEST(CbSingletonExit, NeedsNoLock)
{
    EXPECT_THAT(linesOf("locked"), ElementsAre("0 Singleton instance 'CbPerformanceCounter': created.",           //
                                               "0 Singleton instance 'CSecond': created.",                        //
                                               "1 Singleton instance 'CSecond': being destroyed...",              //
                                               "  CSecond goes, 2 left",                                          //
                                               "2 Singleton instance 'CSecond': destroyed.",                      //
                                               "1 Singleton instance 'CbPerformanceCounter': being destroyed...", //
                                               "2 Singleton instance 'CbPerformanceCounter': destroyed.",         //
                                               "3 All singleton instances destroyed.", ""));
}

TEST(CbSingletonExit, GivesALaterRequestANewInstanceWithoutASecondDestroyer)
{
    EXPECT_THAT(linesOf("again"), ElementsAre("0 Singleton instance 'CSecond': created.",           //
                                              "1 Singleton instance 'CSecond': being destroyed...", //
                                              "  CSecond goes, 1 left",                             //
                                              "2 Singleton instance 'CSecond': destroyed.",         //
                                              "3 All singleton instances destroyed.", "",           //
                                              "  0 left",                                           //
                                              "0 Singleton instance 'CSecond': created.",           //
                                              "  one, 1 left"));
}
