// What only the layer of our own has to promise about named objects, because only here they are files: who may see them,
// what is left of them, and what survives a process that is killed at any instruction. Windows keeps names in its kernel.

#include <algorithm>
#include <array>
#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <spawn.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "namedfile.h"
#include "platform/platform.h"
#include "gtest/gtest.h"

namespace
{
constexpr DWORD c_PatienceMs = 120'000;
constexpr int c_Done = 0;
constexpr int c_Wrong = 99;

std::wstring widen(const std::string& text)
{
    return std::wstring(text.begin(), text.end());
}

// ---- handles

class CHandle
{
public:
    explicit CHandle(HANDLE handle = nullptr) : m_handle(handle)
    {
    }

    CHandle(CHandle&& other) noexcept : m_handle(std::exchange(other.m_handle, nullptr))
    {
    }

    CHandle& operator=(CHandle&& other) noexcept
    {
        std::swap(m_handle, other.m_handle);
        return *this;
    }

    ~CHandle()
    {
        Close();
    }

    operator HANDLE() const
    {
        return m_handle;
    }

    void Close()
    {
        if (m_handle != nullptr)
        {
            EXPECT_TRUE(CloseHandle(std::exchange(m_handle, nullptr)));
        }
    }

private:
    HANDLE m_handle;
};

CHandle autoEvent(const std::string& name)
{
    return CHandle(CreateEventW(nullptr, FALSE, FALSE, widen(name).c_str()));
}

CHandle manualEvent(const std::string& name)
{
    return CHandle(CreateEventW(nullptr, TRUE, FALSE, widen(name).c_str()));
}

CHandle mutex(const std::string& name, BOOL isOwned = FALSE)
{
    return CHandle(CreateMutexW(nullptr, isOwned, widen(name).c_str()));
}

CHandle semaphore(const std::string& name, LONG count, LONG maximum)
{
    return CHandle(CreateSemaphoreW(nullptr, count, maximum, name.empty() ? nullptr : widen(name).c_str()));
}

DWORD look(HANDLE handle)
{
    return WaitForSingleObject(handle, 0);
}

DWORD await(HANDLE handle)
{
    return WaitForSingleObject(handle, c_PatienceMs);
}

std::string freshName()
{
    static std::atomic<int> s_count = 0;
    return "test-" + std::to_string(getpid()) + "-" + std::to_string(++s_count);
}

// ---- the folder

std::filesystem::path folder(uid_t user = geteuid())
{
    return "/dev/shm/orvane-" + std::to_string(user);
}

std::vector<std::filesystem::path> files()
{
    std::vector<std::filesystem::path> found;
    for (const auto& entry : std::filesystem::directory_iterator(folder()))
    {
        found.push_back(entry.path());
    }
    return found;
}

// The tests run as a user of their own where they may, so that they are alone in the folder.
bool isAlone()
{
    return getuid() == 0 && geteuid() != 0;
}

// Files that nobody uses. Without a user of its own the test counts only what nobody holds on to.
std::size_t countLeftOver()
{
    std::size_t count = 0;
    for (const auto& path : files())
    {
        const int file = open(path.c_str(), O_RDWR | O_CLOEXEC);
        struct flock lock = {};
        lock.l_type = F_WRLCK;
        lock.l_len = 1;
        count += file >= 0 && fcntl(file, F_OFD_GETLK, &lock) == 0 && lock.l_type == F_UNLCK ? 1u : 0u;
        close(file);
    }
    return count;
}

// ---- child processes

// A run of this program in another role. It says "r" when it is where the role wants it, and is killed at the latest when
// the test lets go of it.
class CChild
{
public:
    explicit CChild(std::vector<std::string> arguments)
    {
        int pipes[2] = {-1, -1};
        if (pipe2(pipes, O_CLOEXEC) != 0)
        {
            std::abort();
        }
        m_reports = pipes[0];
        arguments.insert(arguments.begin(), {"named", "--child"});
        std::vector<char*> values;
        for (std::string& argument : arguments)
        {
            values.push_back(argument.data());
        }
        values.push_back(nullptr);
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, pipes[1], STDOUT_FILENO);
        if (posix_spawn(&m_id, "/proc/self/exe", &actions, nullptr, values.data(), environ) != 0)
        {
            m_id = -1;
        }
        posix_spawn_file_actions_destroy(&actions);
        close(pipes[1]);
    }

    CChild(CChild&& other) noexcept : m_id(std::exchange(other.m_id, -1)), m_reports(std::exchange(other.m_reports, -1))
    {
    }

    CChild& operator=(CChild&& other) noexcept
    {
        std::swap(m_id, other.m_id);
        std::swap(m_reports, other.m_reports);
        return *this;
    }

    ~CChild()
    {
        Kill();
        close(m_reports);
    }

    // Whether the child has got where its role wants it.
    bool IsReady() const
    {
        char report = 0;
        return m_id > 0 && read(m_reports, &report, 1) == 1 && report == 'r';
    }

    void Kill()
    {
        if (m_id > 0)
        {
            kill(m_id, SIGKILL);
            int status = 0;
            waitpid(std::exchange(m_id, -1), &status, 0);
        }
    }

    // The exit code, once the child has ended by itself.
    int Join()
    {
        int status = 0;
        waitpid(std::exchange(m_id, -1), &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : c_Wrong;
    }

private:
    pid_t m_id = -1;
    int m_reports = -1;
};

void report()
{
    if (write(STDOUT_FILENO, "r", 1) != 1)
    {
        _exit(c_Wrong);
    }
}

[[noreturn]] void waitToBeKilled()
{
    for (;;)
    {
        pause();
    }
}

// Names for the objects of one test that processes hammer.
struct SArena
{
    explicit SArena(const std::string& name)
        : event(autoEvent(name + "-e")),
          lock(mutex(name + "-m")),
          units(semaphore(name + "-s", 0, 1'000'000))
    {
    }

    // One round of everything. False where a call gives what it never may.
    bool Hammer(unsigned int round) const
    {
        const std::array<HANDLE, 3> all = {event, lock, units};
        const DWORD owned = await(lock);
        if ((owned != WAIT_OBJECT_0 && owned != WAIT_ABANDONED) || !ReleaseMutex(lock))
        {
            return false;
        }
        if (!SetEvent(event) || !ReleaseSemaphore(units, 1, nullptr) || look(event) == WAIT_FAILED ||
            look(units) == WAIT_FAILED || !(round % 3 == 0 ? PulseEvent(event) : SetEvent(event)))
        {
            return false;
        }
        const DWORD allOwned = WaitForMultipleObjects(3, all.data(), TRUE, round % 2);
        if ((allOwned == WAIT_OBJECT_0 || allOwned == WAIT_ABANDONED_0) && !ReleaseMutex(lock))
        {
            return false;
        }
        const DWORD any = WaitForMultipleObjects(3, all.data(), FALSE, round % 2);
        return any != WAIT_FAILED && ((any & ~0x80u) != 1 || ReleaseMutex(lock));
    }

    CHandle event;
    CHandle lock;
    CHandle units;
};

int runChild(const std::vector<std::string>& arguments)
{
    const std::string& role = arguments[0];
    const std::string name = arguments.size() > 1 ? arguments[1] : std::string();
    if (role == "own")
    {
        const CHandle owned = mutex(name, TRUE);
        report();
        waitToBeKilled();
    }
    if (role == "own-twice")
    {
        const CHandle owned = mutex(name);
        if (await(owned) != WAIT_OBJECT_0 || await(owned) != WAIT_OBJECT_0)
        {
            return c_Wrong;
        }
        report();
        waitToBeKilled();
    }
    if (role == "own-once")
    {
        const CHandle owned = mutex(name);
        if (await(owned) != WAIT_OBJECT_0)
        {
            return c_Wrong;
        }
        report();
        waitToBeKilled();
    }
    if (role == "hold-event")
    {
        const CHandle held = autoEvent(name);
        report();
        waitToBeKilled();
    }
    if (role == "leave-open")
    {
        return CreateMutexW(nullptr, TRUE, widen(name).c_str()) != nullptr ? c_Done : c_Wrong;
    }
    if (role == "last-error")
    {
        const CHandle event = autoEvent(name);
        return static_cast<int>(GetLastError());
    }
    if (role == "as-user")
    {
        const uid_t user = static_cast<uid_t>(std::stoul(name));
        if (setresuid(user, user, user) != 0)
        {
            return c_Wrong;
        }
        const CHandle event = autoEvent("refused");
        return event == nullptr ? static_cast<int>(GetLastError()) : c_Done;
    }
    if (role == "await-event")
    {
        const CHandle event = autoEvent(name);
        report();
        return static_cast<int>(await(event));
    }
    if (role == "await-mutex")
    {
        const CHandle lock = mutex(name);
        report();
        return static_cast<int>(await(lock));
    }
    if (role == "set-colliding")
    {
        PlatformTest::SetNameHashMask(0);
        return SetEvent(autoEvent(name)) ? c_Done : c_Wrong;
    }
    if (role == "hammer")
    {
        const SArena arena(name);
        report();
        for (unsigned int round = 0;; ++round)
        {
            if (!arena.Hammer(round))
            {
                return c_Wrong;
            }
        }
    }
    if (role == "take-units")
    {
        // Units of the first, until told to stop; how many comes back through the third.
        const CHandle first = semaphore(name + "-1", 0, 1'000'000);
        const CHandle stop = manualEvent(name + "-stop");
        const CHandle taken = semaphore(name + "-taken", 0, 1'000'000);
        report();
        const std::array<HANDLE, 2> handles = {first, stop};
        while (WaitForMultipleObjects(2, handles.data(), FALSE, c_PatienceMs) == WAIT_OBJECT_0)
        {
            ReleaseSemaphore(taken, 1, nullptr);
        }
        return look(stop) == WAIT_OBJECT_0 ? c_Done : c_Wrong;
    }
    return c_Wrong;
}

// ---- threads that wait

// Whether the thread sleeps in the kernel.
bool isAsleep(pid_t thread)
{
    std::ifstream stat("/proc/self/task/" + std::to_string(thread) + "/stat");
    std::string text;
    std::getline(stat, text);
    const std::size_t end = text.rfind(')');
    return end != std::string::npos && end + 2 < text.size() && text[end + 2] == 'S';
}

// A thread in a wait of its own. The constructor returns once the thread sleeps there.
class CWaiter
{
public:
    CWaiter(std::vector<HANDLE> handles, BOOL waitAll)
        : m_thread(
              [this, handles, waitAll]
              {
                  m_id = gettid();
                  m_result =
                      WaitForMultipleObjects(static_cast<DWORD>(handles.size()), handles.data(), waitAll, c_PatienceMs);
                  m_isDone = true;
              })
    {
        while (m_id == 0 || (!m_isDone && !isAsleep(m_id)))
        {
            std::this_thread::yield();
        }
    }

    explicit CWaiter(HANDLE handle) : CWaiter(std::vector<HANDLE>{handle}, FALSE)
    {
    }

    DWORD Join()
    {
        m_thread.join();
        return m_result;
    }

    bool IsDone() const
    {
        return m_isDone;
    }

private:
    std::atomic<pid_t> m_id = 0;
    std::atomic<bool> m_isDone = false;
    DWORD m_result = WAIT_FAILED;
    std::thread m_thread;
};
} // namespace

// ---- files

TEST(NamedFiles, StandInAFolderThatOnlyTheUserMayOpen)
{
    const CHandle event = autoEvent(freshName());
    struct stat status = {};
    ASSERT_EQ(lstat(folder().c_str(), &status), 0);
    EXPECT_TRUE(S_ISDIR(status.st_mode));
    EXPECT_EQ(status.st_uid, geteuid());
    EXPECT_EQ(status.st_mode & 07777u, 0700u);
}

TEST(NamedFiles, AreForTheUserAloneToReadAndWrite)
{
    const CHandle event = autoEvent(freshName());
    ASSERT_FALSE(files().empty());
    for (const auto& path : files())
    {
        struct stat status = {};
        ASSERT_EQ(lstat(path.c_str(), &status), 0);
        EXPECT_EQ(status.st_mode, static_cast<mode_t>(S_IFREG | 0600));
        EXPECT_EQ(status.st_uid, geteuid());
    }
}

TEST(NamedFiles, GoWithTheLastHandle)
{
    const std::string name = freshName();
    CHandle first = autoEvent(name);
    CHandle second = autoEvent(name);
    const auto before = files().size();
    first.Close();
    EXPECT_EQ(files().size(), before);
    second.Close();
    EXPECT_EQ(files().size(), before - 1);
}

TEST(NamedFiles, StayWhileAnotherProcessUsesThem)
{
    const std::string name = freshName();
    CHandle own = autoEvent(name);
    {
        const CChild other({"hold-event", name});
        ASSERT_TRUE(other.IsReady());
        own.Close();
        own = autoEvent(name);
        EXPECT_EQ(GetLastError(), 183u);
        own.Close();
    }
    own = autoEvent(name);
    EXPECT_EQ(GetLastError(), 0u);
}

TEST(NamedFiles, AreNotLeftByAProcessThatEndsWithoutClosing)
{
    const std::string name = freshName();
    const CHandle keepsFolder = autoEvent(freshName());
    EXPECT_EQ(CChild({"leave-open", name}).Join(), c_Done);
    EXPECT_EQ(countLeftOver(), 0u);
}

TEST(NamedFiles, TakeNoDescriptorsOnceClosed)
{
    const CHandle opensFolder = autoEvent(freshName());
    const auto count = [] { return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {}); };
    const auto before = count();
    const std::string name = freshName();
    for (int i = 0; i < 10'000; ++i)
    {
        const CHandle one = mutex(name, TRUE);
        const CHandle same = mutex(name);
        const CHandle clash = autoEvent(name);
        ASSERT_TRUE(one != nullptr && same != nullptr && clash == nullptr);
        ASSERT_TRUE(ReleaseMutex(one));
    }
    EXPECT_EQ(count(), before);
    EXPECT_EQ(countLeftOver(), 0u);
}

TEST(NamedFiles, OfAForkedChildStayWhenTheParentsHandleIsClosed)
{
    const std::string name = freshName();
    CHandle event = autoEvent(name);
    int gate[2] = {-1, -1};
    ASSERT_EQ(pipe2(gate, O_CLOEXEC), 0);
    const pid_t child = fork();
    if (child == 0)
    {
        char byte = 0;
        close(gate[1]);
        const bool isLetGo = read(gate[0], &byte, 1) == 0;
        _exit(isLetGo && SetEvent(event) && CloseHandle(event) ? c_Done : c_Wrong);
    }
    close(gate[0]);
    event.Close();
    event = autoEvent(name);
    EXPECT_EQ(GetLastError(), 183u);
    close(gate[1]);
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(look(event), WAIT_OBJECT_0);
    event.Close();
    EXPECT_EQ(CChild({"last-error", name}).Join(), 0);
}

// ---- other users

class NamedFolder : public testing::Test
{
protected:
    void SetUp() override
    {
        if (getuid() != 0)
        {
            GTEST_SKIP() << "only the administrator can make another user's folder";
        }
        ASSERT_EQ(seteuid(0), 0);
    }

    void TearDown() override
    {
        if (getuid() == 0)
        {
            std::filesystem::remove_all(m_folder);
            ASSERT_EQ(seteuid(m_effective), 0);
        }
    }

    const uid_t m_effective = geteuid();
    const uid_t m_user = 61'000;
    const std::filesystem::path m_folder = folder(m_user);
};

TEST_F(NamedFolder, OfAnotherOwnerIsRefused)
{
    ASSERT_EQ(mkdir(m_folder.c_str(), 0700), 0);
    EXPECT_EQ(CChild({"as-user", std::to_string(m_user)}).Join(), 5);
}

TEST_F(NamedFolder, OfAnotherOwnerThatAllMayUseIsRefused)
{
    ASSERT_EQ(mkdir(m_folder.c_str(), 0700), 0);
    ASSERT_EQ(chmod(m_folder.c_str(), 0777), 0);
    EXPECT_EQ(CChild({"as-user", std::to_string(m_user)}).Join(), 5);
}

TEST_F(NamedFolder, ThatOthersMayReadIsRefused)
{
    ASSERT_EQ(mkdir(m_folder.c_str(), 0700), 0);
    ASSERT_EQ(chown(m_folder.c_str(), m_user, m_user), 0);
    ASSERT_EQ(chmod(m_folder.c_str(), 0750), 0);
    EXPECT_EQ(CChild({"as-user", std::to_string(m_user)}).Join(), 5);
}

TEST_F(NamedFolder, ThatIsALinkIsRefused)
{
    ASSERT_EQ(symlink("/tmp", m_folder.c_str()), 0);
    EXPECT_EQ(CChild({"as-user", std::to_string(m_user)}).Join(), 5);
}

TEST_F(NamedFolder, IsMadeWhereThereIsNone)
{
    EXPECT_EQ(CChild({"as-user", std::to_string(m_user)}).Join(), c_Done);
    EXPECT_TRUE(std::filesystem::is_empty(m_folder));
}

// ---- names

TEST(NamedNames, OfBothPrefixesAndWithoutAreOne)
{
    const std::string name = freshName();
    const CHandle plain = autoEvent(name);
    const CHandle local = autoEvent("Local\\" + name);
    EXPECT_EQ(GetLastError(), 183u);
    const CHandle global = autoEvent("Global\\" + name);
    EXPECT_EQ(GetLastError(), 183u);
    ASSERT_TRUE(SetEvent(plain));
    EXPECT_EQ(look(global), WAIT_OBJECT_0);
    EXPECT_EQ(look(local), WAIT_TIMEOUT);
}

TEST(NamedNames, WithOtherBackslashesFail)
{
    EXPECT_EQ(autoEvent("a\\b"), nullptr);
    EXPECT_EQ(GetLastError(), 3u);
    EXPECT_EQ(autoEvent("Local\\a\\b"), nullptr);
    EXPECT_EQ(GetLastError(), 3u);
    EXPECT_EQ(autoEvent("\\a"), nullptr);
    EXPECT_EQ(GetLastError(), 161u);
}

TEST(NamedNames, ThatAreAPrefixAloneFail)
{
    EXPECT_EQ(autoEvent("Local\\"), nullptr);
    EXPECT_EQ(GetLastError(), 123u);
}

TEST(NamedNames, OfTwoHundredAndSixtyCharactersAreTheLongest)
{
    EXPECT_NE(autoEvent(std::string(260, 'x')), nullptr);
    EXPECT_EQ(autoEvent(std::string(261, 'x')), nullptr);
    EXPECT_EQ(GetLastError(), 206u);
}

class NamedCollisions : public testing::Test
{
protected:
    void SetUp() override
    {
        PlatformTest::SetNameHashMask(0);
    }

    void TearDown() override
    {
        PlatformTest::SetNameHashMask(~static_cast<std::uint64_t>(0));
    }
};

TEST_F(NamedCollisions, KeepNamesApart)
{
    const std::string name = freshName();
    const CHandle event = autoEvent(name + "a");
    const CHandle units = semaphore(name + "b", 1, 2);
    EXPECT_EQ(GetLastError(), 0u);
    const CHandle lock = mutex(name + "c", TRUE);
    EXPECT_EQ(GetLastError(), 0u);
    EXPECT_EQ(look(event), WAIT_TIMEOUT);
    EXPECT_EQ(CChild({"set-colliding", name + "a"}).Join(), c_Done);
    EXPECT_EQ(look(event), WAIT_OBJECT_0);
    EXPECT_EQ(look(units), WAIT_OBJECT_0);
    EXPECT_TRUE(ReleaseMutex(lock));
}

TEST_F(NamedCollisions, MakeANameAnewOnceItsLastHandleIsClosed)
{
    const std::string name = freshName();
    const CHandle other = autoEvent(name + "a");
    CHandle event = autoEvent(name + "b");
    ASSERT_TRUE(SetEvent(event));
    event.Close();
    event = autoEvent(name + "b");
    EXPECT_EQ(GetLastError(), 0u);
    EXPECT_EQ(look(event), WAIT_TIMEOUT);
}

TEST_F(NamedCollisions, HaveRoomForFourNames)
{
    const std::string name = freshName();
    std::vector<CHandle> events;
    for (const char* end : {"a", "b", "c", "d"})
    {
        events.push_back(autoEvent(name + end));
        EXPECT_NE(events.back(), nullptr);
    }
    EXPECT_EQ(autoEvent(name + "e"), nullptr);
    EXPECT_EQ(GetLastError(), 8u);
    events.erase(events.begin() + 1);
    EXPECT_NE(autoEvent(name + "e"), nullptr);
}

TEST_F(NamedCollisions, LeaveNoFile)
{
    const std::string name = freshName();
    autoEvent(name + "a");
    {
        CHandle first = autoEvent(name + "a");
        const CHandle second = autoEvent(name + "b");
        first.Close();
    }
    EXPECT_EQ(countLeftOver(), 0u);
}

// ---- signals that waiters have not taken yet

TEST(NamedAutoEvent, ReleasesAsManyWaitersAsItIsSet)
{
    for (int round = 0; round < 200; ++round)
    {
        const CHandle event = autoEvent(freshName());
        CWaiter first(event);
        CWaiter second(event);
        CWaiter third(event);
        SetEvent(event);
        SetEvent(event);
        SetEvent(event);
        ASSERT_EQ(first.Join(), WAIT_OBJECT_0);
        ASSERT_EQ(second.Join(), WAIT_OBJECT_0);
        ASSERT_EQ(third.Join(), WAIT_OBJECT_0);
        ASSERT_EQ(look(event), WAIT_TIMEOUT);
    }
}

TEST(NamedAutoEvent, ReleasesItsWaiterEvenIfItIsResetAtOnce)
{
    for (int round = 0; round < 200; ++round)
    {
        const CHandle event = autoEvent(freshName());
        CWaiter waiter(event);
        SetEvent(event);
        ResetEvent(event);
        ASSERT_EQ(waiter.Join(), WAIT_OBJECT_0);
        ASSERT_EQ(look(event), WAIT_TIMEOUT);
    }
}

TEST(NamedAutoEvent, ReleasesOneWaiterWhenItIsPulsed)
{
    for (int round = 0; round < 100; ++round)
    {
        const CHandle event = autoEvent(freshName());
        CWaiter first(event);
        CWaiter second(event);
        PulseEvent(event);
        while (!first.IsDone() && !second.IsDone())
        {
            std::this_thread::yield();
        }
        ASSERT_EQ(look(event), WAIT_TIMEOUT);
        SetEvent(event);
        ASSERT_EQ(first.Join(), WAIT_OBJECT_0);
        ASSERT_EQ(second.Join(), WAIT_OBJECT_0);
        ASSERT_EQ(look(event), WAIT_TIMEOUT);
    }
}

TEST(NamedAutoEvent, StaysUnsetWhenItIsPulsedWithoutWaiters)
{
    const CHandle event = autoEvent(freshName());
    ASSERT_TRUE(SetEvent(event));
    ASSERT_TRUE(PulseEvent(event));
    EXPECT_EQ(look(event), WAIT_TIMEOUT);
}

TEST(NamedAutoEvent, KeepsTheSignalOfAWaiterThatTookAnother)
{
    const CHandle first = autoEvent(freshName());
    const CHandle second = autoEvent(freshName());
    for (int round = 0; round < 200; ++round)
    {
        CWaiter waiter({first, second}, FALSE);
        SetEvent(first);
        SetEvent(second);
        const DWORD taken = waiter.Join();
        ASSERT_EQ(look(first), taken == WAIT_OBJECT_0 ? WAIT_TIMEOUT : WAIT_OBJECT_0);
        ASSERT_EQ(look(second), taken == WAIT_OBJECT_0 ? WAIT_OBJECT_0 : WAIT_TIMEOUT);
    }
}

TEST(NamedManualEvent, ReleasesAllThatWaitEvenIfItIsResetAtOnce)
{
    for (int round = 0; round < 100; ++round)
    {
        const CHandle event = manualEvent(freshName());
        CWaiter first(event);
        CWaiter second(event);
        if (round % 2 == 0)
        {
            PulseEvent(event);
        }
        else
        {
            SetEvent(event);
            ResetEvent(event);
        }
        ASSERT_EQ(first.Join(), WAIT_OBJECT_0);
        ASSERT_EQ(second.Join(), WAIT_OBJECT_0);
        ASSERT_EQ(look(event), WAIT_TIMEOUT);
    }
}

TEST(NamedSemaphore, CountsNoUnitThatAWaiterIsAboutToTake)
{
    for (int round = 0; round < 200; ++round)
    {
        const CHandle units = semaphore(freshName(), 0, 1);
        CWaiter waiter(units);
        LONG previous = -1;
        ASSERT_TRUE(ReleaseSemaphore(units, 1, &previous));
        ASSERT_EQ(previous, 0);
        ASSERT_TRUE(ReleaseSemaphore(units, 1, &previous));
        ASSERT_EQ(previous, 0);
        ASSERT_EQ(waiter.Join(), WAIT_OBJECT_0);
        ASSERT_FALSE(ReleaseSemaphore(units, 1, &previous));
        ASSERT_EQ(GetLastError(), 298u);
        ASSERT_EQ(look(units), WAIT_OBJECT_0);
        ASSERT_EQ(look(units), WAIT_TIMEOUT);
    }
}

// ---- the kind

TEST(NamedKinds, FailWith6InTheCallsOfOthers)
{
    const CHandle event = autoEvent(freshName());
    const CHandle lock = mutex(freshName());
    const CHandle units = semaphore(freshName(), 0, 1);
    EXPECT_FALSE(SetEvent(lock));
    EXPECT_EQ(GetLastError(), 6u);
    EXPECT_FALSE(ResetEvent(units));
    EXPECT_EQ(GetLastError(), 6u);
    EXPECT_FALSE(PulseEvent(units));
    EXPECT_EQ(GetLastError(), 6u);
    EXPECT_FALSE(ReleaseMutex(event));
    EXPECT_EQ(GetLastError(), 6u);
    EXPECT_FALSE(ReleaseSemaphore(lock, 1, nullptr));
    EXPECT_EQ(GetLastError(), 6u);
}

TEST(NamedKinds, AreKeptByANameInUse)
{
    const std::string name = freshName();
    const CHandle event = manualEvent(name);
    EXPECT_EQ(mutex(name, TRUE), nullptr);
    EXPECT_EQ(GetLastError(), 6u);
    const CHandle same = autoEvent(name);
    EXPECT_EQ(GetLastError(), 183u);
    ASSERT_TRUE(SetEvent(same));
    EXPECT_EQ(look(event), WAIT_OBJECT_0);
    EXPECT_EQ(look(event), WAIT_OBJECT_0) << "it is still one with a manual reset";
}

// ---- mutexes

TEST(NamedMutex, ThatIsClosedWhileItIsOwnedIsANewOneNextTime)
{
    const std::string name = freshName();
    CHandle lock = mutex(name, TRUE);
    lock.Close();
    lock = mutex(name, TRUE);
    EXPECT_EQ(GetLastError(), 0u);
    EXPECT_TRUE(ReleaseMutex(lock));
    EXPECT_FALSE(ReleaseMutex(lock));
    EXPECT_EQ(GetLastError(), 288u);
}

TEST(NamedMutex, ThatIsClosedWhileItIsOwnedIsAbandonedWhenTheThreadEnds)
{
    const std::string name = freshName();
    std::unique_ptr<CChild> other;
    std::thread owner(
        [&]
        {
            CHandle lock = mutex(name, TRUE);
            other = std::make_unique<CChild>(std::vector<std::string>{"await-mutex", name});
            EXPECT_TRUE(other->IsReady());
            lock.Close();
        });
    owner.join();
    EXPECT_EQ(other->Join(), static_cast<int>(WAIT_ABANDONED));
}

TEST(NamedMutex, ThatIsOpenedAgainByItsOwnerCountsOn)
{
    const std::string name = freshName();
    CHandle lock = mutex(name, TRUE);
    CChild other({"await-mutex", name});
    ASSERT_TRUE(other.IsReady());
    lock.Close();
    lock = mutex(name);
    EXPECT_EQ(GetLastError(), 183u);
    EXPECT_EQ(look(lock), WAIT_OBJECT_0);
    EXPECT_TRUE(ReleaseMutex(lock));
    EXPECT_TRUE(ReleaseMutex(lock)) << "the acquisition through the closed handle";
    EXPECT_EQ(other.Join(), static_cast<int>(WAIT_OBJECT_0));
}

TEST(NamedMutex, OfAThreadIsAbandonedBeforeTheThreadCountsAsEnded)
{
    const std::string name = freshName();
    const CHandle lock = mutex(name);
    const auto own = [](void* handle) -> DWORD { return WaitForSingleObject(handle, INFINITE); };
    for (int round = 0; round < 200; ++round)
    {
        const CHandle owner(CreateThread(nullptr, 0, own, lock, 0, nullptr));
        ASSERT_EQ(await(owner), WAIT_OBJECT_0);
        ASSERT_EQ(look(lock), WAIT_ABANDONED);
        ASSERT_TRUE(ReleaseMutex(lock));
    }
}

// ---- killed processes

TEST(NamedKill, LeavesAThousandMutexesAbandonedWithoutAFile)
{
    for (int round = 0; round < 1'000; ++round)
    {
        const std::string name = freshName();
        const CHandle lock = mutex(name);
        CChild owner({round % 2 == 0 ? "own-once" : "own-twice", name});
        ASSERT_TRUE(owner.IsReady());
        ASSERT_EQ(look(lock), WAIT_TIMEOUT);
        std::thread killer([&] { owner.Kill(); }); // before the wait or during it
        const DWORD result = await(lock);
        killer.join();
        ASSERT_EQ(result, WAIT_ABANDONED) << "round " << round;
        ASSERT_TRUE(ReleaseMutex(lock));
        ASSERT_EQ(look(lock), WAIT_OBJECT_0) << "told once only";
        ASSERT_TRUE(ReleaseMutex(lock));
    }
    EXPECT_EQ(countLeftOver(), 0u);
}

TEST(NamedKill, OfTheOnlyUsersOfAThousandNamesLeavesNoFileBehindTheNextUser)
{
    constexpr int c_Batch = 20;
    for (int batch = 0; batch < 1'000 / c_Batch; ++batch)
    {
        std::vector<CChild> owners;
        for (int i = 0; i < c_Batch; ++i)
        {
            owners.emplace_back(std::vector<std::string>{"own", freshName()});
        }
        for (CChild const& owner : owners)
        {
            ASSERT_TRUE(owner.IsReady());
        }
    }
    EXPECT_EQ(CChild({"last-error", freshName()}).Join(), 0);
    EXPECT_EQ(countLeftOver(), 0u);
}

TEST(NamedKill, OfTheOnlyUserMakesTheNameFree)
{
    const std::string name = freshName();
    {
        const CChild owner({"own", name});
        ASSERT_TRUE(owner.IsReady());
    }
    const CHandle event = autoEvent(name);
    EXPECT_EQ(GetLastError(), 0u);
    EXPECT_NE(event, nullptr);
}

TEST(NamedKill, OfAWaiterTakesNoSignalFromOthers)
{
    const std::string name = freshName();
    const CHandle event = autoEvent(name);
    for (int round = 0; round < 100; ++round)
    {
        CWaiter stays(event);
        CChild goes({"await-event", name});
        ASSERT_TRUE(goes.IsReady());
        goes.Kill();
        ASSERT_TRUE(SetEvent(event));
        ASSERT_EQ(stays.Join(), WAIT_OBJECT_0) << "round " << round;
        ASSERT_EQ(look(event), WAIT_TIMEOUT);
        ASSERT_TRUE(SetEvent(event));
        ASSERT_EQ(look(event), WAIT_OBJECT_0);
    }
}

TEST(NamedKill, AtAnyInstructionLeavesObjectsUsable)
{
    const unsigned int seed = std::random_device()();
    std::mt19937 random(seed);
    SCOPED_TRACE("seed " + std::to_string(seed));
    const std::string name = freshName();
    const SArena arena(name);
    std::vector<CChild> children;
    for (int i = 0; i < 3; ++i)
    {
        children.emplace_back(std::vector<std::string>{"hammer", name});
        ASSERT_TRUE(children.back().IsReady());
    }
    for (unsigned int round = 0; round < 500; ++round)
    {
        const auto rounds = static_cast<unsigned int>(random() % 60);
        for (unsigned int i = 0; i < rounds; ++i)
        {
            ASSERT_TRUE(arena.Hammer(i)) << "round " << round;
        }
        CChild& victim = children[random() % children.size()];
        victim.Kill();
        victim = CChild({"hammer", name});
        ASSERT_TRUE(victim.IsReady());
    }
    children.clear();
    const DWORD owned = await(arena.lock);
    EXPECT_TRUE(owned == WAIT_OBJECT_0 || owned == WAIT_ABANDONED);
    EXPECT_TRUE(ReleaseMutex(arena.lock));
    EXPECT_EQ(look(arena.lock), WAIT_OBJECT_0);
    EXPECT_TRUE(ReleaseMutex(arena.lock));
    EXPECT_TRUE(ResetEvent(arena.event));
    EXPECT_EQ(look(arena.event), WAIT_TIMEOUT);
    EXPECT_TRUE(SetEvent(arena.event));
    EXPECT_EQ(look(arena.event), WAIT_OBJECT_0);
    while (look(arena.units) == WAIT_OBJECT_0)
    {
    }
    EXPECT_TRUE(ReleaseSemaphore(arena.units, 1, nullptr));
    EXPECT_EQ(look(arena.units), WAIT_OBJECT_0);
    EXPECT_EQ(look(arena.units), WAIT_TIMEOUT);
}

TEST(NamedKill, OfSeveralOwnersIsToldToAWaitForAllOnce)
{
    for (int round = 0; round < 50; ++round)
    {
        const std::string first = freshName();
        const std::string second = freshName();
        const CHandle one = mutex(first);
        const CHandle two = mutex(second);
        const CHandle event(CreateEventW(nullptr, TRUE, FALSE, nullptr));
        CChild ownsOne({"own-once", first});
        CChild ownsTwo({"own-once", second});
        ASSERT_TRUE(ownsOne.IsReady() && ownsTwo.IsReady());
        CWaiter waiter({one, event, two}, TRUE);
        ownsOne.Kill();
        ASSERT_TRUE(SetEvent(event));
        ownsTwo.Kill();
        ASSERT_EQ(waiter.Join(), WAIT_ABANDONED_0);
    }
}

TEST(NamedKill, OfAnOwnerIsToldToAWaitForAny)
{
    for (int round = 0; round < 50; ++round)
    {
        const std::string name = freshName();
        const CHandle lock = mutex(name);
        const CHandle event = autoEvent(freshName());
        const CHandle own(CreateEventW(nullptr, TRUE, FALSE, nullptr));
        CChild owner({"own-once", name});
        ASSERT_TRUE(owner.IsReady());
        CWaiter waiter({event, own, lock}, FALSE);
        owner.Kill();
        ASSERT_EQ(waiter.Join(), WAIT_ABANDONED_0 + 2);
    }
}

// ---- mixed waits

TEST(NamedMixed, WaitForAnyIsReleasedByEitherSort)
{
    const CHandle named = autoEvent(freshName());
    const CHandle unnamed(CreateEventW(nullptr, FALSE, FALSE, nullptr));
    for (int round = 0; round < 200; ++round)
    {
        CWaiter waiter({named, unnamed}, FALSE);
        SetEvent(round % 2 == 0 ? named : unnamed);
        ASSERT_EQ(waiter.Join(), static_cast<DWORD>(round % 2));
        ASSERT_EQ(look(named), WAIT_TIMEOUT);
        ASSERT_EQ(look(unnamed), WAIT_TIMEOUT);
    }
}

TEST(NamedMixed, WaitForAllTakesNothingUntilAllAreThere)
{
    const CHandle named = autoEvent(freshName());
    const CHandle unnamed(CreateEventW(nullptr, FALSE, FALSE, nullptr));
    const CHandle lock = mutex(freshName());
    for (int round = 0; round < 200; ++round)
    {
        CWaiter waiter({unnamed, lock, named}, TRUE);
        SetEvent(round % 2 == 0 ? named : unnamed);
        ASSERT_EQ(look(round % 2 == 0 ? named : unnamed), WAIT_OBJECT_0) << "not taken by half a wait";
        SetEvent(named);
        SetEvent(unnamed);
        ASSERT_EQ(waiter.Join(), WAIT_OBJECT_0);
        ASSERT_EQ(look(named), WAIT_TIMEOUT);
        ASSERT_EQ(look(unnamed), WAIT_TIMEOUT);
        ASSERT_EQ(look(lock), WAIT_ABANDONED) << "the waiter took it and ended";
        ASSERT_TRUE(ReleaseMutex(lock));
    }
}

TEST(NamedMixed, WaitForAllThatTimesOutTakesNothing)
{
    const CHandle named = autoEvent(freshName());
    const CHandle unnamed(CreateEventW(nullptr, FALSE, TRUE, nullptr));
    const std::array<HANDLE, 2> handles = {unnamed, named};
    EXPECT_EQ(WaitForMultipleObjects(2, handles.data(), TRUE, 0), WAIT_TIMEOUT);
    EXPECT_EQ(WaitForMultipleObjects(2, handles.data(), TRUE, 5), WAIT_TIMEOUT);
    EXPECT_EQ(look(unnamed), WAIT_OBJECT_0);
}

TEST(NamedMixed, WaitForAllOfOneObjectTwiceFailsWith87)
{
    const std::string name = freshName();
    const CHandle one = autoEvent(name);
    const CHandle same = autoEvent(name);
    const std::array<HANDLE, 2> handles = {one, same};
    EXPECT_EQ(WaitForMultipleObjects(2, handles.data(), TRUE, 0), WAIT_FAILED);
    EXPECT_EQ(GetLastError(), 87u);
}

TEST(NamedMixed, WaitsForAThread)
{
    const CHandle named = autoEvent(freshName());
    const CHandle thread(CreateThread(
        nullptr, 0, [](void* event) -> DWORD { return SetEvent(event) ? 0u : 1u; }, named, 0, nullptr));
    const std::array<HANDLE, 2> handles = {thread, named};
    EXPECT_EQ(WaitForMultipleObjects(2, handles.data(), TRUE, c_PatienceMs), WAIT_OBJECT_0);
}

// Units of two semaphores, one named and one not, go to waits for either, waits for both, and another process. In the end
// every unit has been taken once.
TEST(NamedMixed, WaitsTakeEveryUnitOnce)
{
    constexpr LONG c_Units = 5'000;
    const std::string name = freshName();
    const CHandle named = semaphore(name + "-1", 0, 1'000'000);
    const CHandle unnamed = semaphore("", 0, 1'000'000);
    const CHandle namedStop = manualEvent(name + "-stop");
    const CHandle stop(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    const CHandle takenThere = semaphore(name + "-taken", 0, 1'000'000);
    CChild other({"take-units", name});
    ASSERT_TRUE(other.IsReady());

    std::atomic<LONG> ofNamed = 0;
    std::atomic<LONG> ofUnnamed = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < 2; ++i)
    {
        threads.emplace_back(
            [&]
            {
                const std::array<HANDLE, 4> handles = {unnamed, named, stop, namedStop};
                for (;;)
                {
                    const DWORD result = WaitForMultipleObjects(4, handles.data(), FALSE, c_PatienceMs);
                    if (result > 1)
                    {
                        EXPECT_LT(result, 4u);
                        return;
                    }
                    ++(result == 0 ? ofUnnamed : ofNamed);
                }
            });
        threads.emplace_back(
            [&]
            {
                const std::array<HANDLE, 2> handles = {named, unnamed};
                while (look(stop) != WAIT_OBJECT_0)
                {
                    if (WaitForMultipleObjects(2, handles.data(), TRUE, 20) == WAIT_OBJECT_0)
                    {
                        ++ofNamed;
                        ++ofUnnamed;
                    }
                }
            });
    }
    LONG takenByOther = 0;
    for (LONG i = 0; i < c_Units; ++i)
    {
        ASSERT_TRUE(ReleaseSemaphore(i % 2 == 0 ? named : unnamed, 1, nullptr));
        ASSERT_TRUE(ReleaseSemaphore(i % 2 == 0 ? unnamed : named, 1, nullptr));
    }
    const auto isAllTaken = [&]
    {
        while (look(takenThere) == WAIT_OBJECT_0)
        {
            ++takenByOther;
        }
        return ofUnnamed == c_Units && ofNamed + takenByOther == c_Units;
    };
    while (!isAllTaken() && ofUnnamed <= c_Units && ofNamed + takenByOther <= c_Units)
    {
        std::this_thread::yield();
    }
    EXPECT_TRUE(SetEvent(stop));
    EXPECT_TRUE(SetEvent(namedStop));
    for (std::thread& thread : threads)
    {
        thread.join();
    }
    EXPECT_EQ(other.Join(), c_Done);
    EXPECT_TRUE(isAllTaken());
    EXPECT_EQ(look(named), WAIT_TIMEOUT);
    EXPECT_EQ(look(unnamed), WAIT_TIMEOUT);
}

// A thread that is ended in a wait leaves its places behind: nothing is handed to it any more.
TEST(NamedMixed, WaitOfAThreadThatIsEndedTakesNothing)
{
    struct SHandles
    {
        HANDLE handles[2];
    };

    const CHandle named = autoEvent(freshName());
    const CHandle unnamed(CreateEventW(nullptr, FALSE, FALSE, nullptr));
    SHandles handles = {{named, unnamed}};
    for (int round = 0; round < 50; ++round)
    {
        DWORD id = 0;
        const CHandle thread(CreateThread(
            nullptr, 0,
            [](void* argument) -> DWORD
            { return WaitForMultipleObjects(2, static_cast<SHandles*>(argument)->handles, FALSE, INFINITE); },
            &handles, 0, &id));
        while (!isAsleep(static_cast<pid_t>(id)))
        {
            std::this_thread::yield();
        }
        ASSERT_TRUE(TerminateThread(thread, 7));
        ASSERT_EQ(await(thread), WAIT_OBJECT_0);
        ASSERT_TRUE(SetEvent(unnamed));
        ASSERT_TRUE(SetEvent(named));
        ASSERT_EQ(look(unnamed), WAIT_OBJECT_0);
        ASSERT_EQ(look(named), WAIT_OBJECT_0);
    }
}

// A process whose effective user is not its own is not for others, nor for its own tools, to look into; this one is.
static void makeInspectable()
{
    prctl(PR_SET_DUMPABLE, 1);
}

int main(int argc, char** argv)
{
    if (argc > 2 && std::strcmp(argv[1], "--child") == 0)
    {
        makeInspectable();
        return runChild(std::vector<std::string>(argv + 2, argv + argc));
    }
    testing::InitGoogleTest(&argc, argv);
    if (geteuid() == 0)
    {
        if (seteuid(62'000 + static_cast<uid_t>(getpid()) % 1'000) != 0)
        {
            return c_Wrong;
        }
        makeInspectable();
    }
    const int result = RUN_ALL_TESTS();
    if (isAlone())
    {
        std::filesystem::remove_all(folder());
    }
    return result;
}
