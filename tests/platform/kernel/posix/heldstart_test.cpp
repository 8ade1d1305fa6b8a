// What goes on while a thread that starts another one stands still inside the C library, because of a lock there that a
// stopped thread holds, say. In a program of its own: its pthread_create serves the library that it uses as well.

#include <atomic>
#include <chrono>
#include <future>
#include <thread>

#include <dlfcn.h>
#include <pthread.h>

#include "kernelsupport.h"

using namespace kerneltest;

namespace
{
constexpr std::chrono::seconds c_Patience{10}; // of one who waits for a call that takes no time

using FnCreate = int (*)(pthread_t*, pthread_attr_t const*, void* (*)(void*), void*);

std::promise<void>* s_isInside = nullptr;
std::shared_future<void> s_mayGo;
thread_local bool t_isHeld = false;

// A thread that stands still where it starts another, until the end of the scope.
class CHeldStarter
{
public:
    CHeldStarter()
    {
        std::promise<void> isInside;
        s_isInside = &isInside;
        s_mayGo = m_mayGo.get_future().share();
        m_thread = std::thread(
            []
            {
                t_isHeld = true;
                const CThread started([] { return 0u; });
                EXPECT_TRUE(started.Join());
            });
        isInside.get_future().wait();
    }

    CHeldStarter(CHeldStarter const&) = delete;
    CHeldStarter& operator=(CHeldStarter const&) = delete;

    ~CHeldStarter()
    {
        m_mayGo.set_value();
        m_thread.join();
    }

private:
    std::promise<void> m_mayGo;
    std::thread m_thread;
};

// Whether the function returns; it is let go on before the end in any case.
template <class F>
bool returns(F const& function)
{
    std::future<void> done;
    bool isDone = false;
    {
        const CHeldStarter starter;
        done = std::async(std::launch::async, function);
        isDone = done.wait_for(c_Patience) == std::future_status::ready;
    }
    done.wait();
    return isDone;
}
} // namespace

extern "C" [[gnu::visibility("default")]] int pthread_create(pthread_t* thread, pthread_attr_t const* attributes,
                                                             void* (*start)(void*), void* argument) noexcept
{
    static FnCreate const s_create = reinterpret_cast<FnCreate>(dlsym(RTLD_NEXT, "pthread_create"));
    if (t_isHeld)
    {
        s_isInside->set_value();
        s_mayGo.wait();
        t_isHeld = false;
    }
    return s_create(thread, attributes, start, argument);
}

TEST(HeldStart, LetsOthersOpenThreads)
{
    const DWORD id = GetCurrentThreadId();
    EXPECT_TRUE(returns(
        [id]
        {
            constexpr DWORD c_QueryInformation = 0x0040;
            const CHandle opened(OpenThread(c_QueryInformation, FALSE, id));
            EXPECT_NE(static_cast<HANDLE>(opened), nullptr);
        }));
}

TEST(HeldStart, LetsOthersStartThreadsThatEnd)
{
    EXPECT_TRUE(returns(
        []
        {
            const CThread thread([] { return 5u; });
            EXPECT_TRUE(thread.Join());
            EXPECT_EQ(thread.GetExitCode(), 5u);
        }));
}
