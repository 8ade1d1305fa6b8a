// Threads as kernel objects, and how one thread stops or ends another.
//
// A request to stop or to end is a word in the thread's record (a generation and two flags) and a signal. The handler
// acknowledges the generation and sleeps on the word; without the generation a stop that follows a resume at once could
// take the old acknowledgement for its own. Inside the layer's own critical stretches the handler only notes the request.

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <iterator>
#include <memory>
#include <new>
#include <string_view>
#include <utility>
#include <vector>

#include <dirent.h>
#include <fcntl.h>
#include <gnu/libc-version.h>
#include <link.h>
#include <pthread.h>
#include <sched.h>
#include <sys/resource.h>
#include <ucontext.h>
#include <unwind.h>

#include "kernelobject.h"
#include "nosuspend.h"
#include "platform/debughelp.h"
#include "platform_target/civil.h"
#include "stackcapture.h"

namespace posix
{
// Records are never freed, only used again: a late signal may still name one.
struct ThreadRecord
{
    KernelObject* object = nullptr;
    std::atomic<pid_t> id{0};
    bool isStartedStopped = false;
    LPTHREAD_START_ROUTINE start = nullptr; // with its parameter: what a thread that is started here runs
    void* parameter = nullptr;
    std::atomic<bool> hasOwnReference{false}; // the object has a reference that goes at the thread's end

    // Held inside a no-suspend stretch only, and never while another thread is awaited.
    FutexMutex lock;            // guards what follows down to endCode, and all changes of `control`
    unsigned int stopCount = 0; // suspensions
    bool isEnded = false;       // its end has begun: it is not stopped any more
    DWORD endCode = 0;          // becomes the exit code when the thread ends

    std::atomic<std::uint32_t> control{0};       // what the thread is asked for: flags and a generation
    std::atomic<std::uint32_t> acknowledged{0};  // the generation that it has taken note of
    CONTEXT registers{};                         // where it stands while it is stopped
    std::atomic<StackCapture*> capture{nullptr}; // to be filled by the thread when it next takes note of a request
    std::atomic<std::uint32_t> gone{0};          // 1 once a thread that was ended from outside runs no more of its code

    std::atomic<DWORD> exitCode{STILL_ACTIVE};
    std::atomic<int> priority{THREAD_PRIORITY_NORMAL};
    std::atomic<DWORD_PTR> affinity{0};
    std::atomic<DWORD> idealProcessor{0};
    std::atomic<unsigned __int64> creationTime{0}; // 0: not asked for yet
    std::atomic<unsigned __int64> exitTime{0};
    std::atomic<unsigned __int64> kernelTime{0}; // both filled at the thread's end
    std::atomic<unsigned __int64> userTime{0};

    // Guarded by s_recordLock.
    ThreadRecord* next = nullptr;
    ThreadRecord* previous = nullptr;
};

struct SnapshotRecord
{
    std::vector<DWORD> ids;
    std::vector<DebugHelp::SModuleEntry> modules;
    std::size_t position = 0; // guarded by the object's lock bit
};

namespace
{
constexpr std::uint32_t c_Stopped = 1;
constexpr std::uint32_t c_Dying = 2;
constexpr std::uint32_t c_Forced = 4; // die even inside the C library
constexpr std::uint32_t c_GenerationOne = 8;
constexpr std::uint32_t c_GenerationMask = ~(c_GenerationOne - 1);

constexpr unsigned int c_MaximumStops = 127;
constexpr DWORD c_AcknowledgeMs = 5000;
// A thread inside the C library is asked this often, at this interval, before it is ended all the same. One that blocks
// there holds no lock of it; one that works there is met outside long before.
constexpr int c_PoliteTries = 2000;
constexpr long c_PoliteNs = 50'000;
// Who opens a thread that nobody knows looks so long whether it is one that is just being started.
constexpr std::chrono::milliseconds c_StartPatience{100};

constexpr unsigned __int64 c_TicksInSecond = c_TicksASecond;
constexpr unsigned __int64 c_UnixEpoch = c_SecondsToEpoch * c_TicksASecond; // 1970 in file time
constexpr unsigned __int64 c_StartStep = c_TicksInSecond / 100;             // creation times are that coarse

constinit FutexMutex s_recordLock;
constinit ThreadRecord* s_firstRecord = nullptr; // records of threads that have not ended, and of unknown ones
constinit ThreadRecord* s_freeRecords = nullptr;
constinit std::atomic<unsigned int> s_startsUnderWay{0}; // threads whose records may not have their ids yet

[[gnu::tls_model("initial-exec")]] constinit thread_local StopState t_stopState;

int stopSignal() noexcept
{
    return SIGRTMAX - 3;
}

timespec deadlineIn(DWORD milliseconds, long nanoseconds = 0) noexcept
{
    timespec time{};
    clock_gettime(CLOCK_MONOTONIC, &time);
    time.tv_sec += static_cast<time_t>(milliseconds / 1000);
    time.tv_nsec += static_cast<long>(milliseconds % 1000) * 1'000'000 + nanoseconds;
    if (time.tv_nsec >= 1'000'000'000)
    {
        time.tv_nsec -= 1'000'000'000;
        ++time.tv_sec;
    }
    return time;
}

// ---- the process, as it was when it was first asked about

struct CodeRange
{
    std::uintptr_t begin = 0;
    std::uintptr_t end = 0;

    bool holds(std::uintptr_t address) const noexcept
    {
        return address >= begin && address < end;
    }
};

struct ProcessFacts
{
    cpu_set_t processors; // that the process may use
    DWORD_PTR mask = 0;   // the same, for the first 64
    DWORD_PTR online = 0;
    DWORD processorCount = 1;
    int baseNice = 0;
    bool canRestoreNice = false;
    __int64 bootTime = 0;     // file time of the system's start
    CodeRange libraryCode[2]; // the code of the C library and of the allocator
};

int findLibraryCode(dl_phdr_info* info, std::size_t, void* result)
{
    auto& made = *static_cast<ProcessFacts*>(result);
    // The allocator may have been replaced, by a tool or by choice: its module counts too.
    std::uintptr_t const probes[] = {reinterpret_cast<std::uintptr_t>(&gnu_get_libc_version),
                                     reinterpret_cast<std::uintptr_t>(&std::malloc)};
    for (int i = 0; i < info->dlpi_phnum; ++i)
    {
        auto const& segment = info->dlpi_phdr[i];
        CodeRange const range{info->dlpi_addr + segment.p_vaddr, info->dlpi_addr + segment.p_vaddr + segment.p_memsz};
        for (std::size_t probe = 0; probe < std::size(probes); ++probe)
        {
            if (segment.p_type == PT_LOAD && (segment.p_flags & PF_X) != 0 && range.holds(probes[probe]))
            {
                made.libraryCode[probe] = range;
            }
        }
    }
    return 0;
}

__int64 fileTimeOf(timespec const& time) noexcept
{
    return static_cast<__int64>(time.tv_sec) * static_cast<__int64>(c_TicksInSecond) + time.tv_nsec / 100;
}

ProcessFacts const& facts() noexcept
{
    static ProcessFacts const s_facts = []
    {
        ProcessFacts made;
        CPU_ZERO(&made.processors);
        sched_getaffinity(getpid(), sizeof made.processors, &made.processors);
        long const online = sysconf(_SC_NPROCESSORS_ONLN);
        made.processorCount = online > 0 ? static_cast<DWORD>(online) : 1;
        for (unsigned int i = 0; i < MAXIMUM_PROCESSORS; ++i)
        {
            made.mask |= CPU_ISSET(i, &made.processors) ? DWORD_PTR{1} << i : 0;
            made.online |= i < made.processorCount ? DWORD_PTR{1} << i : 0;
        }
        made.online |= made.mask;
        errno = 0;
        int const nice = getpriority(PRIO_PROCESS, static_cast<id_t>(getpid()));
        made.baseNice = errno == 0 ? nice : 0;
        rlimit limit{};
        getrlimit(RLIMIT_NICE, &limit);
        // The limit counts down from 20: room for the highest priority above the base.
        int const needed = 20 - std::max(made.baseNice - 15, -20);
        made.canRestoreNice = geteuid() == 0 || limit.rlim_cur >= static_cast<rlim_t>(needed);
        timespec now{};
        timespec sinceBoot{};
        clock_gettime(CLOCK_REALTIME, &now);
        clock_gettime(CLOCK_BOOTTIME, &sinceBoot);
        made.bootTime = static_cast<__int64>(c_UnixEpoch) + fileTimeOf(now) - fileTimeOf(sinceBoot);
        dl_iterate_phdr(findLibraryCode, &made);
        return made;
    }();
    return s_facts;
}

// ---- records

// s_recordLock is held.
void insertRecord(ThreadRecord& record) noexcept
{
    record.previous = nullptr;
    record.next = s_firstRecord;
    if (s_firstRecord != nullptr)
    {
        s_firstRecord->previous = &record;
    }
    s_firstRecord = &record;
}

void removeRecord(ThreadRecord& record) noexcept
{
    s_recordLock.lock();
    if (record.previous != nullptr || s_firstRecord == &record)
    {
        (record.previous != nullptr ? record.previous->next : s_firstRecord) = record.next;
        if (record.next != nullptr)
        {
            record.next->previous = record.previous;
        }
        record.next = nullptr;
        record.previous = nullptr;
    }
    s_recordLock.unlock();
}

// A record with an object that has one reference; null without memory.
ThreadRecord* makeRecord() noexcept
{
    KernelObject* const object = createObject(Kind::Thread, 0);
    if (object == nullptr)
    {
        return nullptr;
    }
    s_recordLock.lock();
    ThreadRecord* record = s_freeRecords;
    if (record != nullptr)
    {
        s_freeRecords = record->next;
        record->next = nullptr;
    }
    s_recordLock.unlock();
    if (record == nullptr)
    {
        record = new (std::nothrow) ThreadRecord;
        if (record == nullptr)
        {
            releaseReference(*object);
            return nullptr;
        }
    }
    record->object = object;
    record->isStartedStopped = false;
    record->hasOwnReference.store(false, std::memory_order_relaxed);
    record->stopCount = 0;
    record->isEnded = false;
    // The generation goes on counting: late acknowledgements of the thread before are not taken for this one's.
    record->control.fetch_and(c_GenerationMask, std::memory_order_relaxed);
    record->capture.store(nullptr, std::memory_order_relaxed);
    record->gone.store(0, std::memory_order_relaxed);
    record->exitCode.store(STILL_ACTIVE, std::memory_order_relaxed);
    record->endCode = 0;
    record->priority.store(THREAD_PRIORITY_NORMAL, std::memory_order_relaxed);
    record->affinity.store(facts().mask, std::memory_order_relaxed);
    record->idealProcessor.store(0, std::memory_order_relaxed);
    record->creationTime.store(0, std::memory_order_relaxed);
    record->exitTime.store(0, std::memory_order_relaxed);
    object->thread = record;
    return record;
}

void addReference(KernelObject& object) noexcept
{
    Locked held(object);
    ++held.object().references;
}

// False for an object that has no reference left and is on its way out.
bool tryAddReference(KernelObject& object) noexcept
{
    Locked held(object);
    if (held.object().references == 0)
    {
        return false;
    }
    ++held.object().references;
    return true;
}

// The record of a thread that is known by its id, with a reference for the caller. s_recordLock is held.
ThreadRecord* findRecord(pid_t id) noexcept
{
    for (ThreadRecord* record = s_firstRecord; record != nullptr; record = record->next)
    {
        // A record leaves the list before its object can be used again, so the object is this record's, or ended.
        if (record->id.load(std::memory_order_relaxed) == id && tryAddReference(*record->object))
        {
            return record;
        }
    }
    return nullptr;
}

// The same, with the lock taken here; null for 0 and for what is no id.
ThreadRecord* lookUp(pid_t id) noexcept
{
    s_recordLock.lock();
    ThreadRecord* const record = id > 0 ? findRecord(id) : nullptr;
    s_recordLock.unlock();
    return record;
}

// The record of a thread that the layer did not start, with a reference for the caller; made where there is none. Null
// without memory.
ThreadRecord* findOrMakeRecord(pid_t id) noexcept
{
    ThreadRecord* found = lookUp(id);
    if (found != nullptr)
    {
        return found;
    }
    ThreadRecord* const made = makeRecord();
    if (made == nullptr)
    {
        return nullptr;
    }
    made->id.store(id, std::memory_order_relaxed);
    s_recordLock.lock();
    found = findRecord(id); // another thread may have been faster
    if (found == nullptr)
    {
        insertRecord(*made);
    }
    s_recordLock.unlock();
    if (found == nullptr)
    {
        return made;
    }
    releaseReference(*made->object);
    return found;
}

// Sees to it that a thread's end has a reference to give back: one that was only opened by others has none yet. The caller
// has a reference.
void takeOwnReference(ThreadRecord& record) noexcept
{
    if (!record.hasOwnReference.exchange(true, std::memory_order_acq_rel))
    {
        addReference(*record.object);
    }
}

// The calling thread's own record, which the thread holds a reference to until its end; null without memory.
ThreadRecord* ownRecord() noexcept
{
    Parking& own = parking();
    if (own.thread == nullptr)
    {
        NoSuspend const guard;
        // Somebody may have opened this thread before it was seen here.
        ThreadRecord* const record = findOrMakeRecord(static_cast<pid_t>(GetCurrentThreadId()));
        if (record == nullptr)
        {
            return nullptr;
        }
        if (record->hasOwnReference.exchange(true, std::memory_order_acq_rel))
        {
            releaseReference(*record->object);
        }
        own.thread = record;
    }
    return own.thread;
}

HANDLE const c_CurrentThread = reinterpret_cast<HANDLE>(~static_cast<std::uintptr_t>(1));

// A thread object, kept alive for the time of a call. Empty, with the last error 6, for a handle of anything else.
class PinnedThread
{
public:
    explicit PinnedThread(HANDLE handle) noexcept
    {
        NoSuspend const guard;
        ObjectRef ref = findObject(handle);
        if (!ref)
        {
            ref = findPseudoHandle(handle);
        }
        if (ref)
        {
            Locked held(ref);
            if (held.isHeld() && Word::kind(held.word) == Kind::Thread)
            {
                ++held.object().references;
                m_record = held.object().thread;
                return;
            }
        }
        SetLastError(ERROR_INVALID_HANDLE);
    }

    PinnedThread(PinnedThread const&) = delete;
    PinnedThread& operator=(PinnedThread const&) = delete;

    ~PinnedThread()
    {
        release();
    }

    void release() noexcept
    {
        if (m_record != nullptr)
        {
            NoSuspend const guard;
            releaseReference(*m_record->object);
            m_record = nullptr;
        }
    }

    explicit operator bool() const noexcept
    {
        return m_record != nullptr;
    }

    ThreadRecord* operator->() const noexcept
    {
        return m_record;
    }

    ThreadRecord& operator*() const noexcept
    {
        return *m_record;
    }

private:
    ThreadRecord* m_record = nullptr;
};

// ---- what a thread has used

// Start time (in ticks since the start of the system) and the processor times of a thread, from the kernel's own account.
struct ThreadAccount
{
    unsigned __int64 start = 0;
    unsigned __int64 user = 0;
    unsigned __int64 kernel = 0;
};

bool readAccount(pid_t id, ThreadAccount& account) noexcept
{
    char path[64];
    std::snprintf(path, sizeof path, "/proc/self/task/%d/stat", static_cast<int>(id));
    int const file = open(path, O_RDONLY | O_CLOEXEC);
    if (file < 0)
    {
        return false;
    }
    char text[1024];
    ssize_t const size = read(file, text, sizeof text - 1);
    close(file);
    if (size <= 0)
    {
        return false;
    }
    text[size] = '\0';
    // The name may hold anything; what follows its last parenthesis is numbers.
    char const* const end = std::strrchr(text, ')');
    unsigned long long user = 0;
    unsigned long long kernel = 0;
    unsigned long long start = 0;
    if (end == nullptr ||
        std::sscanf(end + 1, " %*c %*d %*d %*d %*d %*d %*u %*u %*u %*u %*u %llu %llu %*d %*d %*d %*d %*d %*d %llu",
                    &user, &kernel, &start) != 3)
    {
        return false;
    }
    unsigned __int64 const step = c_TicksInSecond / static_cast<unsigned __int64>(sysconf(_SC_CLK_TCK));
    account.user = user * step;
    account.kernel = kernel * step;
    account.start = start * step;
    return true;
}

// Fills in what has not been asked for yet.
unsigned __int64 noteCreation(ThreadRecord& record, ThreadAccount const& account) noexcept
{
    unsigned __int64 created = record.creationTime.load(std::memory_order_relaxed);
    if (created == 0)
    {
        created = static_cast<unsigned __int64>(facts().bootTime) + account.start;
        // Threads of one step tie; the process's first thread is the earliest of them.
        created -= record.id.load(std::memory_order_relaxed) == getpid() ? 1u : 0u;
        record.creationTime.store(created, std::memory_order_relaxed);
    }
    return created;
}

unsigned __int64 fileTimeOf(timeval const& time) noexcept
{
    return static_cast<unsigned __int64>(time.tv_sec) * c_TicksInSecond +
           static_cast<unsigned __int64>(time.tv_usec) * 10;
}

// At the end of a thread, on the thread itself. Afterwards the system knows nothing of it any more.
void keepOwnAccount(ThreadRecord& record) noexcept
{
    rusage usage{};
    getrusage(RUSAGE_THREAD, &usage);
    record.userTime.store(fileTimeOf(usage.ru_utime), std::memory_order_relaxed);
    record.kernelTime.store(fileTimeOf(usage.ru_stime), std::memory_order_relaxed);
    ThreadAccount account;
    if (record.creationTime.load(std::memory_order_relaxed) == 0 &&
        readAccount(record.id.load(std::memory_order_relaxed), account))
    {
        noteCreation(record, account);
    }
}

// What the system told of a thread that another one ends now.
void keepAccount(ThreadRecord& record, ThreadAccount const& account) noexcept
{
    record.userTime.store(account.user, std::memory_order_relaxed);
    record.kernelTime.store(account.kernel, std::memory_order_relaxed);
    noteCreation(record, account);
}

// ---- stopping and ending

std::uint32_t generationOf(std::uint32_t control) noexcept
{
    return control & c_GenerationMask;
}

void acknowledge(ThreadRecord& record, std::uint32_t control) noexcept
{
    record.acknowledged.store(generationOf(control), std::memory_order_release);
    futexWake(addressOf(record.acknowledged), INT_MAX);
}

unsigned __int64 now() noexcept
{
    timespec time{};
    clock_gettime(CLOCK_REALTIME, &time);
    return c_UnixEpoch + static_cast<unsigned __int64>(fileTimeOf(time));
}

// What every end of a thread does last. Expects its account to be kept; nothing of the record is used afterwards.
void finish(ThreadRecord& record) noexcept
{
    record.exitTime.store(now(), std::memory_order_release);
    removeRecord(record);
    record.exitCode.store(record.endCode, std::memory_order_release);
    KernelObject& object = *record.object;
    signalObject(object);
    releaseReference(object);
}

bool isInLibrary(void const* context) noexcept
{
    auto const& machine = static_cast<ucontext_t const*>(context)->uc_mcontext;
    auto const at = static_cast<std::uintptr_t>(machine.gregs[REG_RIP]);
    return facts().libraryCode[0].holds(at) || facts().libraryCode[1].holds(at);
}

// What the calling thread waits for or owns is left to the others.
void letGo() noexcept
{
    Parking* const own = existingParking();
    if (own == nullptr)
    {
        return;
    }
    if (own->operation != nullptr)
    {
        abortWait(*own->operation);
    }
    if (own->hasOwnedMutex.load(std::memory_order_relaxed))
    {
        abandonMutexes(own->threadId);
    }
    giveParkingBack(*own);
}

// Not through the C library: that would unwind frames which may not be unwound.
[[noreturn]] void leaveForGood() noexcept
{
    for (;;)
    {
        syscall(SYS_exit, 0);
    }
}

// The end of a thread that another one ends.
[[noreturn]] void die(ThreadRecord& record) noexcept
{
    // Never left: the other thread asks again and again, and a lock that is held here must not be left so.
    NoSuspend const guard;
    letGo();
    acknowledge(record, record.control.load(std::memory_order_relaxed)); // somebody may still wait for it to stop
    record.gone.store(1, std::memory_order_release);
    futexWake(addressOf(record.gone), INT_MAX);
    leaveForGood();
}

// A frame is wanted when that of its caller stands above the given stack pointer: its own stack pointer may have moved
// since, for the arguments of a later call. So each frame waits for the next one.
struct FrameTaker
{
    StackCapture& capture;
    StackCapture::Frame pending{0, 0};
    bool hasPending = false;

    // False where there is no room.
    bool take(std::uintptr_t callersSp) noexcept
    {
        if (!hasPending || pending.pc == 0 || callersSp <= capture.fromSp)
        {
            return true;
        }
        if (capture.count == StackCapture::c_Room)
        {
            capture.isComplete = false;
            return false;
        }
        capture.frames[capture.count++] = pending;
        return true;
    }
};

_Unwind_Reason_Code takeFrame(_Unwind_Context* context, void* data)
{
    auto& taker = *static_cast<FrameTaker*>(data);
    StackCapture::Frame const frame{_Unwind_GetIP(context), _Unwind_GetCFA(context)};
    if (!taker.take(frame.sp))
    {
        taker.hasPending = false;
        return _URC_END_OF_STACK;
    }
    taker.pending = frame;
    taker.hasPending = true;
    return _URC_NO_REASON;
}

// The registers at which a thread stops: those of the signal's context, or of the caller's frame without one.
void noteRegisters(CONTEXT& registers, void const* context) noexcept
{
    if (context == nullptr)
    {
        RtlCaptureContext(&registers);
        return;
    }
    auto const& from = static_cast<ucontext_t const*>(context)->uc_mcontext.gregs;
    auto const get = [&from](int number) { return static_cast<DWORD64>(from[number]); };
    registers = {CONTEXT_FULL, get(REG_RAX), get(REG_RCX), get(REG_RDX), get(REG_RBX), get(REG_RSP),
                 get(REG_RBP), get(REG_RSI), get(REG_RDI), get(REG_R8),  get(REG_R9),  get(REG_R10),
                 get(REG_R11), get(REG_R12), get(REG_R13), get(REG_R14), get(REG_R15), get(REG_RIP)};
}

// Sleeps as long as the record says so. `context` is what the signal interrupted, or null where the request is carried out
// at the end of a critical stretch.
void obey(ThreadRecord& record, void const* context) noexcept
{
    for (;;)
    {
        std::uint32_t control = 0;
        {
            // A later request waits: it must not be taken note of while a capture of this one is half filled.
            NoSuspend const guard;
            control = record.control.load(std::memory_order_acquire);
            if ((control & c_Dying) != 0)
            {
                Parking const* const own = existingParking();
                bool const isInOwnWait = own != nullptr && own->operation != nullptr;
                if (context == nullptr || isInOwnWait || (control & c_Forced) != 0 || !isInLibrary(context))
                {
                    die(record);
                }
                return; // to leave the C library; the other thread asks again
            }
            noteRegisters(record.registers, context);
            if (StackCapture* const capture = record.capture.exchange(nullptr, std::memory_order_acquire);
                capture != nullptr)
            {
                captureOwnStack(*capture);
            }
            acknowledge(record, control);
        }
        if ((control & c_Stopped) == 0)
        {
            return;
        }
        futexWait(addressOf(record.control), control, nullptr);
    }
}

void onStopSignal(int, siginfo_t* info, void* context) noexcept
{
    int const callersErrno = errno;
    auto* const record = static_cast<ThreadRecord*>(info->si_value.sival_ptr);
    if (record != nullptr && record->id.load(std::memory_order_relaxed) == static_cast<pid_t>(gettid()))
    {
        if (t_stopState.depth.load(std::memory_order_relaxed) != 0)
        {
            t_stopState.requested.store(record, std::memory_order_relaxed);
        }
        else
        {
            obey(*record, context);
        }
    }
    errno = callersErrno;
}

void installHandler() noexcept
{
    [[maybe_unused]] static bool const s_isInstalled = []
    {
        static_cast<void>(facts()); // the handler itself must not be the first to ask
        StackCapture capture;       // nor the unwinder's first user: it makes tables once
        captureOwnStack(capture);
        struct sigaction action = {};
        action.sa_sigaction = onStopSignal;
        action.sa_flags = SA_SIGINFO | SA_RESTART;
        sigemptyset(&action.sa_mask);
        return sigaction(stopSignal(), &action, nullptr) == 0;
    }();
}

bool sendStop(ThreadRecord& record) noexcept
{
    siginfo_t info;
    std::memset(&info, 0, sizeof info);
    info.si_signo = stopSignal();
    info.si_code = SI_QUEUE;
    info.si_pid = getpid();
    info.si_uid = getuid();
    info.si_value.sival_ptr = &record;
    return syscall(SYS_rt_tgsigqueueinfo, getpid(), record.id.load(std::memory_order_relaxed), stopSignal(), &info) ==
           0;
}

// The record's lock is held.
std::uint32_t ask(ThreadRecord& record, std::uint32_t flags) noexcept
{
    std::uint32_t const next = generationOf(record.control.load(std::memory_order_relaxed)) + c_GenerationOne;
    record.control.store(next | flags, std::memory_order_release);
    futexWake(addressOf(record.control), INT_MAX);
    return next;
}

// Whether the word has the value in time.
bool awaitValue(std::atomic<std::uint32_t> const& word, std::uint32_t value, timespec const& deadline) noexcept
{
    for (;;)
    {
        std::uint32_t const seen = word.load(std::memory_order_acquire);
        if (seen == value)
        {
            return true;
        }
        if (!futexWait(addressOf(word), seen, &deadline))
        {
            return word.load(std::memory_order_acquire) == value;
        }
    }
}

// Whether the thread takes note of the generation, or of a later one, in time. No lock is held: the caller may be stopped
// or ended here.
bool awaitAcknowledged(ThreadRecord const& record, std::uint32_t generation, timespec const& deadline) noexcept
{
    auto const isReached = [generation](std::uint32_t seen)
    { return static_cast<std::int32_t>(seen - generation) >= 0; };
    for (;;)
    {
        std::uint32_t const seen = record.acknowledged.load(std::memory_order_acquire);
        if (isReached(seen))
        {
            return true;
        }
        if (!futexWait(addressOf(record.acknowledged), seen, &deadline))
        {
            return isReached(record.acknowledged.load(std::memory_order_acquire));
        }
    }
}

bool isOwn(ThreadRecord const& record) noexcept
{
    return record.id.load(std::memory_order_relaxed) == static_cast<pid_t>(GetCurrentThreadId());
}

// One stop more: the number of those before it, and the generation that the thread has to acknowledge. Returns an error.
// The record's lock is held.
DWORD addStop(ThreadRecord& record, unsigned int& before, std::uint32_t& generation) noexcept
{
    before = record.stopCount;
    if (record.isEnded)
    {
        return ERROR_ACCESS_DENIED;
    }
    if (before == c_MaximumStops)
    {
        return ERROR_SIGNAL_REFUSED;
    }
    generation = before == 0 ? ask(record, c_Stopped) : generationOf(record.control.load(std::memory_order_relaxed));
    if (before == 0 && !isOwn(record) && !sendStop(record))
    {
        ask(record, 0);
        return ERROR_ACCESS_DENIED;
    }
    ++record.stopCount;
    return ERROR_SUCCESS;
}

// One stop less: the number of those before. The record's lock is held.
unsigned int removeStop(ThreadRecord& record) noexcept
{
    unsigned int const before = record.stopCount;
    if (before != 0 && --record.stopCount == 0 && !record.isEnded)
    {
        ask(record, 0);
    }
    return before;
}

// The calling thread's end begins: nobody stops or ends it from here on. It is stopped once more where that was asked for
// already. False where another thread ends it.
bool beginEnd(ThreadRecord& record, DWORD const* exitCode) noexcept
{
    for (;;)
    {
        {
            NoSuspend const guard;
            record.lock.lock();
            bool const isEndedByOther = record.isEnded;
            bool const isStopped = !isEndedByOther && record.stopCount != 0;
            if (!isEndedByOther && !isStopped)
            {
                record.isEnded = true;
                record.endCode = exitCode != nullptr ? *exitCode : record.endCode;
                // A signal that is still on its way must not name the record once it is another thread's.
                sigset_t stops;
                sigemptyset(&stops);
                sigaddset(&stops, stopSignal());
                pthread_sigmask(SIG_BLOCK, &stops, nullptr);
                acknowledge(record, record.control.load(std::memory_order_relaxed));
            }
            record.lock.unlock();
            if (!isStopped)
            {
                return !isEndedByOther;
            }
        }
        obey(record, nullptr);
    }
}

// ---- the start of a thread

// The id of a thread that has not ended, or 0. The system tells it as part of the name of the thread's own clock: the id's
// complement above three bits that say which clock it is.
pid_t idOf(pthread_t thread) noexcept
{
    constexpr clockid_t c_KindBits = 7;
    constexpr clockid_t c_ThreadsProcessorTime = 6;
    clockid_t clock = 0;
    bool const isTold = pthread_getcpuclockid(thread, &clock) == 0 && (clock & c_KindBits) == c_ThreadsProcessorTime;
    return isTold ? ~(clock >> 3) : 0;
}

// What a new thread takes over from the one that starts it is not what it starts with here. Others may have changed it by
// now: what they set is in the record.
void restoreInherited(ThreadRecord& record) noexcept
{
    record.lock.lock();
    cpu_set_t inherited;
    if (record.affinity.load(std::memory_order_relaxed) == facts().mask &&
        sched_getaffinity(0, sizeof inherited, &inherited) == 0 && !CPU_EQUAL(&inherited, &facts().processors))
    {
        sched_setaffinity(0, sizeof(cpu_set_t), &facts().processors);
    }
    id_t const id = static_cast<id_t>(GetCurrentThreadId());
    errno = 0;
    bool const isSetByOthers =
        facts().canRestoreNice && record.priority.load(std::memory_order_relaxed) != THREAD_PRIORITY_NORMAL;
    if (!isSetByOthers && getpriority(PRIO_PROCESS, id) != facts().baseNice && errno == 0)
    {
        setpriority(PRIO_PROCESS, id, facts().baseNice);
    }
    record.lock.unlock();
    sigset_t own;
    sigemptyset(&own);
    sigaddset(&own, stopSignal());
    pthread_sigmask(SIG_UNBLOCK, &own, nullptr);
}

// noexcept: an exception that leaves a thread ends the process.
void* runThread(void* argument) noexcept
{
    ThreadRecord& record = *static_cast<ThreadRecord*>(argument);
    {
        NoSuspend const guard;
        // The one that starts it stores the same; either may be the first to need it.
        record.id.store(static_cast<pid_t>(GetCurrentThreadId()), std::memory_order_relaxed);
        restoreInherited(record);
        parking().thread = &record;
    }
    if (record.isStartedStopped)
    {
        obey(record, nullptr);
    }
    DWORD const code = record.start(record.parameter);
    NoSuspend const guard;
    record.lock.lock();
    record.endCode = record.isEnded ? record.endCode : code;
    record.lock.unlock();
    return nullptr;
}

// Starts the thread of a record. False where the system starts none. No lock is held meanwhile: the C library may have its own
// held by a thread that somebody has stopped, and who is to let that one go on may need the layer's.
bool startThread(ThreadRecord& record, pthread_attr_t const& attributes) noexcept
{
    timespec sinceBoot{};
    clock_gettime(CLOCK_BOOTTIME, &sinceBoot);
    __int64 const started =
        fileTimeOf(sinceBoot) / static_cast<__int64>(c_StartStep) * static_cast<__int64>(c_StartStep);
    record.creationTime.store(static_cast<unsigned __int64>(facts().bootTime + started), std::memory_order_relaxed);
    s_recordLock.lock();
    insertRecord(record);
    s_recordLock.unlock();
    s_startsUnderWay.fetch_add(1, std::memory_order_relaxed);
    pthread_t thread{};
    bool const isStarted = pthread_create(&thread, &attributes, runThread, &record) == 0;
    if (isStarted)
    {
        // Detached only after that: until then the C library keeps what it knows of a thread, though it may have ended.
        pid_t id = idOf(thread);
        while (id == 0)
        {
            // The thread has ended, or the C library names clocks otherwise: the thread tells itself.
            id = record.id.load(std::memory_order_relaxed);
            if (id == 0)
            {
                sched_yield();
            }
        }
        record.id.store(id, std::memory_order_relaxed);
        pthread_detach(thread);
    }
    s_startsUnderWay.fetch_sub(1, std::memory_order_release);
    return isStarted;
}

// ---- what the system tells

int niceOf(int priority) noexcept
{
    switch (priority)
    {
    case THREAD_PRIORITY_IDLE:
        return 15;
    case THREAD_PRIORITY_LOWEST:
        return 10;
    case THREAD_PRIORITY_BELOW_NORMAL:
        return 5;
    case THREAD_PRIORITY_ABOVE_NORMAL:
        return -5;
    case THREAD_PRIORITY_HIGHEST:
        return -10;
    case THREAD_PRIORITY_TIME_CRITICAL:
        return -15;
    default:
        return 0;
    }
}

bool isPriority(int priority) noexcept
{
    return (priority >= THREAD_PRIORITY_LOWEST && priority <= THREAD_PRIORITY_HIGHEST) ||
           priority == THREAD_PRIORITY_IDLE || priority == THREAD_PRIORITY_TIME_CRITICAL;
}
} // namespace

void captureOwnStack(StackCapture& capture) noexcept
{
    capture.count = 0;
    capture.isComplete = true;
    FrameTaker taker{capture};
    _Unwind_Backtrace(takeFrame, &taker);
    taker.take(UINTPTR_MAX); // the outermost
}

namespace
{
// Withdraws a capture that the thread has not come to; false where it has filled it after all.
bool takeBack(ThreadRecord& record, StackCapture& capture, std::uint32_t generation) noexcept
{
    StackCapture* placed = &capture;
    if (record.capture.compare_exchange_strong(placed, nullptr, std::memory_order_acquire))
    {
        return true;
    }
    // It is at it: the caller's memory must outlast that.
    while (!awaitAcknowledged(record, generation, deadlineIn(c_AcknowledgeMs)))
    {
    }
    return false;
}
} // namespace

bool captureStack(HANDLE thread, StackCapture& capture) noexcept
{
    PinnedThread const pinned(thread);
    if (!pinned)
    {
        return false;
    }
    ThreadRecord& record = *pinned;
    if (isOwn(record))
    {
        captureOwnStack(capture);
        return true;
    }
    timespec const deadline = deadlineIn(c_AcknowledgeMs);
    for (;;)
    {
        std::uint32_t generation = 0;
        StackCapture* placed = nullptr;
        {
            NoSuspend const guard;
            record.lock.lock();
            bool const isStopped = record.stopCount != 0 && !record.isEnded;
            if (isStopped && record.capture.compare_exchange_strong(placed, &capture, std::memory_order_relaxed))
            {
                placed = &capture;
                generation = ask(record, c_Stopped);
            }
            else
            {
                generation = generationOf(record.control.load(std::memory_order_relaxed));
            }
            record.lock.unlock();
            if (!isStopped)
            {
                return false;
            }
        }
        bool const isInTime = awaitAcknowledged(record, generation, deadline);
        if (placed == &capture)
        {
            return isInTime || !takeBack(record, capture, generation);
        }
        if (!isInTime)
        {
            return false;
        }
        // Another thread's capture had the place until now.
    }
}

StopState& stopState() noexcept
{
    return t_stopState;
}

void carryOutStop() noexcept
{
    ThreadRecord* const record = t_stopState.requested.exchange(nullptr, std::memory_order_relaxed);
    if (record != nullptr)
    {
        obey(*record, nullptr);
    }
}

ObjectRef findPseudoHandle(HANDLE handle) noexcept
{
    if (handle != c_CurrentThread)
    {
        return {};
    }
    ThreadRecord* const record = ownRecord();
    if (record == nullptr)
    {
        return {};
    }
    KernelObject& object = *record->object;
    return {&object, object.word.load(std::memory_order_relaxed) & Word::c_GenerationMask};
}

void closeThread(ThreadRecord* thread) noexcept
{
    removeRecord(*thread);
    thread->id.store(0, std::memory_order_relaxed);
    s_recordLock.lock();
    thread->next = s_freeRecords;
    s_freeRecords = thread;
    s_recordLock.unlock();
}

void closeSnapshot(SnapshotRecord* snapshot) noexcept
{
    delete snapshot;
}

void endThread(Parking& own) noexcept
{
    ThreadRecord* const record = own.thread;
    if (record != nullptr)
    {
        bool const isOwnEnd = beginEnd(*record, nullptr);
        while (!isOwnEnd)
        {
            // The other thread finishes this one; all that is left here is to go when it says so.
            std::uint32_t const control = record->control.load(std::memory_order_acquire);
            if ((control & c_Dying) != 0)
            {
                die(*record);
            }
            futexWait(addressOf(record->control), control, nullptr);
        }
    }
    NoSuspend const guard;
    if (own.hasOwnedMutex.load(std::memory_order_relaxed))
    {
        abandonMutexes(own.threadId);
    }
    if (record != nullptr)
    {
        own.thread = nullptr;
        keepOwnAccount(*record);
        finish(*record);
    }
}
} // namespace posix

using namespace posix;

HANDLE CreateThread(SECURITY_ATTRIBUTES* security, std::size_t stackSize, LPTHREAD_START_ROUTINE start, void* parameter,
                    DWORD flags, DWORD* id) noexcept
{
    DWORD error = ERROR_SUCCESS;
    if (security != nullptr)
    {
        error = ERROR_NOT_SUPPORTED;
    }
    else if (start == nullptr || (flags & ~(CREATE_SUSPENDED | STACK_SIZE_PARAM_IS_A_RESERVATION)) != 0)
    {
        error = ERROR_INVALID_PARAMETER;
    }
    if (error != ERROR_SUCCESS)
    {
        SetLastError(error);
        return nullptr;
    }

    NoSuspend const guard;
    ThreadRecord* const record = makeRecord();
    if (record == nullptr)
    {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return nullptr;
    }
    if ((flags & CREATE_SUSPENDED) != 0)
    {
        record->isStartedStopped = true;
        record->stopCount = 1;
        ask(*record, c_Stopped);
    }
    takeOwnReference(*record);
    HANDLE const handle = openHandle(*record->object);
    if (handle == nullptr)
    {
        releaseReference(*record->object);
        return nullptr;
    }

    record->start = start;
    record->parameter = parameter;
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    if (stackSize != 0)
    {
        std::size_t const page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
        std::size_t const least = static_cast<std::size_t>(PTHREAD_STACK_MIN);
        pthread_attr_setstacksize(&attributes, (std::max(stackSize, least) + page - 1) / page * page);
    }
    bool const isStarted = startThread(*record, attributes);
    pthread_attr_destroy(&attributes);
    if (!isStarted)
    {
        KernelObject& object = *record->object;
        CloseHandle(handle);
        releaseReference(object);
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return nullptr;
    }
    if (id != nullptr)
    {
        *id = static_cast<DWORD>(record->id.load(std::memory_order_relaxed));
    }
    return handle;
}

DWORD SuspendThread(HANDLE thread) noexcept
{
    constexpr DWORD c_Failed = 0xFFFFFFFF;
    PinnedThread pinned(thread);
    if (!pinned)
    {
        return c_Failed;
    }
    installHandler();
    ThreadRecord& record = *pinned;
    unsigned int before = 0;
    std::uint32_t generation = 0;
    DWORD error = ERROR_SUCCESS;
    {
        NoSuspend const guard;
        record.lock.lock();
        error = addStop(record, before, generation);
        record.lock.unlock();
        // From the end of this stretch on the frame may not be left in the ordinary way: whoever stops this thread meanwhile
        // may end it too. A thread keeps its own record, once it has it.
        if (error == ERROR_SUCCESS && isOwn(record) && ownRecord() == &record)
        {
            pinned.release();
        }
    }
    if (error == ERROR_SUCCESS && isOwn(record))
    {
        obey(record, nullptr);
    }
    else if (error == ERROR_SUCCESS && !awaitAcknowledged(record, generation, deadlineIn(c_AcknowledgeMs)))
    {
        error = ERROR_TIMEOUT;
        NoSuspend const guard;
        record.lock.lock();
        removeStop(record);
        record.lock.unlock();
    }
    if (error != ERROR_SUCCESS)
    {
        SetLastError(error);
        return c_Failed;
    }
    return before;
}

DWORD ResumeThread(HANDLE thread) noexcept
{
    PinnedThread const pinned(thread);
    if (!pinned)
    {
        return 0xFFFFFFFF;
    }
    NoSuspend const guard;
    pinned->lock.lock();
    unsigned int const before = removeStop(*pinned);
    pinned->lock.unlock();
    return before;
}

BOOL GetThreadContext(HANDLE thread, CONTEXT* context) noexcept
{
    PinnedThread const pinned(thread);
    if (!pinned)
    {
        return FALSE;
    }
    if (context == nullptr)
    {
        return fail(ERROR_NOACCESS);
    }
    ThreadRecord& record = *pinned;
    timespec const deadline = deadlineIn(c_AcknowledgeMs);
    for (;;)
    {
        std::uint32_t generation = 0;
        bool isStopped = false;
        bool isAtRest = false;
        {
            NoSuspend const guard;
            record.lock.lock();
            generation = generationOf(record.control.load(std::memory_order_relaxed));
            isStopped = record.stopCount != 0 && !record.isEnded && !isOwn(record);
            isAtRest = isStopped && record.acknowledged.load(std::memory_order_acquire) == generation;
            if (isAtRest)
            {
                *context = record.registers;
            }
            record.lock.unlock();
        }
        if (isAtRest)
        {
            return TRUE;
        }
        if (!isStopped)
        {
            return fail(ERROR_INVALID_PARAMETER);
        }
        if (!awaitAcknowledged(record, generation, deadline))
        {
            return fail(ERROR_TIMEOUT);
        }
    }
}

BOOL TerminateThread(HANDLE thread, DWORD exitCode) noexcept
{
    PinnedThread pinned(thread);
    if (!pinned)
    {
        return FALSE;
    }
    installHandler();
    ThreadRecord& record = *pinned;
    if (isOwn(record))
    {
        if (!beginEnd(record, &exitCode))
        {
            return fail(ERROR_ACCESS_DENIED);
        }
        NoSuspend const guard; // never left
        takeOwnReference(record);
        pinned.release(); // this frame is not left in the ordinary way
        letGo();
        keepOwnAccount(record);
        finish(record);
        leaveForGood(); // the record may be another thread's by now
    }
    ThreadAccount account;
    bool const isAccountKnown = readAccount(record.id.load(std::memory_order_relaxed), account);
    {
        NoSuspend const guard;
        record.lock.lock();
        bool const isEnded = std::exchange(record.isEnded, true);
        if (!isEnded)
        {
            record.endCode = exitCode;
            if (isAccountKnown)
            {
                keepAccount(record, account);
            }
            takeOwnReference(record);
            ask(record, c_Dying);
        }
        record.lock.unlock();
        if (isEnded)
        {
            return fail(ERROR_ACCESS_DENIED);
        }
    }
    // The thread may be inside the C library, and hold the allocator's lock: it is asked until it is elsewhere. From here
    // on only this thread asks it for anything.
    for (int attempt = 0; record.gone.load(std::memory_order_acquire) == 0; ++attempt)
    {
        if (attempt == c_PoliteTries)
        {
            ask(record, c_Dying | c_Forced);
        }
        if (!sendStop(record) && errno == ESRCH)
        {
            break; // it has ended meanwhile; any other failure, such as a full queue of signals, passes
        }
        awaitValue(record.gone, 1, deadlineIn(0, c_PoliteNs));
    }
    // Not joined: its stack would be used again, with what it had stored under other libraries' thread-specific keys.
    while (syscall(SYS_tgkill, getpid(), record.id.load(std::memory_order_relaxed), 0) == 0)
    {
        sched_yield();
    }
    NoSuspend const guard;
    finish(record);
    return TRUE;
}

BOOL GetExitCodeThread(HANDLE thread, DWORD* exitCode) noexcept
{
    PinnedThread const pinned(thread);
    if (!pinned)
    {
        return FALSE;
    }
    if (exitCode == nullptr)
    {
        return fail(ERROR_NOACCESS);
    }
    *exitCode = pinned->exitCode.load(std::memory_order_acquire);
    return TRUE;
}

DWORD GetThreadId(HANDLE thread) noexcept
{
    PinnedThread const pinned(thread);
    return pinned ? static_cast<DWORD>(pinned->id.load(std::memory_order_relaxed)) : 0;
}

HANDLE GetCurrentThread() noexcept
{
    return c_CurrentThread;
}

HANDLE OpenThread(DWORD access, BOOL, DWORD id) noexcept
{
    NoSuspend const guard;
    pid_t const wanted = static_cast<pid_t>(id);
    ThreadRecord* record = lookUp(wanted);
    ThreadAccount account;
    if (record == nullptr && (wanted <= 0 || !readAccount(wanted, account)))
    {
        SetLastError(ERROR_INVALID_PARAMETER);
        return nullptr;
    }
    // The record of a thread that is just being started has its id in a moment. Not for long: who starts it may stand still.
    if (record == nullptr)
    {
        auto const end = std::chrono::steady_clock::now() + c_StartPatience;
        bool isKnown = false;
        do
        {
            sched_yield();
            isKnown = s_startsUnderWay.load(std::memory_order_acquire) == 0; // all ids that there were are there
            record = lookUp(wanted);
        } while (record == nullptr && !isKnown && std::chrono::steady_clock::now() < end);
    }
    if (record != nullptr)
    {
        return openHandle(*record->object);
    }
    if (id == GetCurrentThreadId())
    {
        record = ownRecord();
        if (record != nullptr)
        {
            addReference(*record->object);
        }
    }
    else if ((access & SYNCHRONIZE) != 0)
    {
        SetLastError(ERROR_NOT_SUPPORTED);
        return nullptr;
    }
    else
    {
        record = findOrMakeRecord(wanted);
    }
    if (record == nullptr)
    {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return nullptr;
    }
    return openHandle(*record->object);
}

BOOL SetThreadPriority(HANDLE thread, int priority) noexcept
{
    PinnedThread const pinned(thread);
    if (!pinned)
    {
        return FALSE;
    }
    if (!isPriority(priority))
    {
        return fail(ERROR_INVALID_PARAMETER);
    }
    NoSuspend const guard;
    pinned->lock.lock();
    pinned->priority.store(priority, std::memory_order_relaxed);
    // An id is another thread's once this one has ended. Until then its end waits for the lock.
    if (facts().canRestoreNice && !pinned->isEnded)
    {
        int const nice = std::clamp(facts().baseNice + niceOf(priority), -20, 19);
        setpriority(PRIO_PROCESS, static_cast<id_t>(pinned->id.load(std::memory_order_relaxed)), nice);
    }
    pinned->lock.unlock();
    return TRUE;
}

int GetThreadPriority(HANDLE thread) noexcept
{
    PinnedThread const pinned(thread);
    return pinned ? pinned->priority.load(std::memory_order_relaxed) : THREAD_PRIORITY_ERROR_RETURN;
}

DWORD_PTR SetThreadAffinityMask(HANDLE thread, DWORD_PTR mask) noexcept
{
    PinnedThread const pinned(thread);
    if (!pinned)
    {
        return 0;
    }
    if (mask == 0 || (mask & ~facts().mask) != 0)
    {
        SetLastError(ERROR_INVALID_PARAMETER);
        return 0;
    }
    cpu_set_t processors;
    CPU_ZERO(&processors);
    for (unsigned int i = 0; i < MAXIMUM_PROCESSORS; ++i)
    {
        if ((mask >> i & 1) != 0)
        {
            CPU_SET(i, &processors);
        }
    }
    NoSuspend const guard;
    pinned->lock.lock();
    // As for the priority.
    bool const isSet = !pinned->isEnded && sched_setaffinity(pinned->id.load(std::memory_order_relaxed),
                                                             sizeof processors, &processors) == 0;
    DWORD_PTR const before = isSet ? pinned->affinity.exchange(mask, std::memory_order_relaxed) : 0;
    pinned->lock.unlock();
    if (!isSet)
    {
        SetLastError(ERROR_ACCESS_DENIED);
    }
    return before;
}

BOOL GetProcessAffinityMask(HANDLE process, DWORD_PTR* processMask, DWORD_PTR* systemMask) noexcept
{
    if (process != GetCurrentProcess())
    {
        return fail(ERROR_INVALID_HANDLE);
    }
    if (processMask == nullptr || systemMask == nullptr)
    {
        return fail(ERROR_NOACCESS);
    }
    *processMask = facts().mask;
    *systemMask = facts().online;
    return TRUE;
}

DWORD SetThreadIdealProcessor(HANDLE thread, DWORD processor) noexcept
{
    PinnedThread const pinned(thread);
    if (!pinned)
    {
        return 0xFFFFFFFF;
    }
    if (processor == MAXIMUM_PROCESSORS)
    {
        return pinned->idealProcessor.load(std::memory_order_relaxed);
    }
    if (processor > MAXIMUM_PROCESSORS || (facts().online >> processor & 1) == 0)
    {
        SetLastError(ERROR_INVALID_PARAMETER);
        return 0xFFFFFFFF;
    }
    return pinned->idealProcessor.exchange(processor, std::memory_order_relaxed);
}

BOOL GetThreadTimes(HANDLE thread, FILETIME* creation, FILETIME* exit, FILETIME* kernel, FILETIME* user) noexcept
{
    PinnedThread const pinned(thread);
    if (!pinned)
    {
        return FALSE;
    }
    if (creation == nullptr || exit == nullptr || kernel == nullptr || user == nullptr)
    {
        return fail(ERROR_NOACCESS);
    }
    ThreadRecord& record = *pinned;
    ThreadAccount account;
    pid_t const id = record.id.load(std::memory_order_relaxed);
    unsigned __int64 const exitTime = record.exitTime.load(std::memory_order_acquire);
    if (exitTime != 0)
    {
        account.kernel = record.kernelTime.load(std::memory_order_relaxed);
        account.user = record.userTime.load(std::memory_order_relaxed);
    }
    else if (!readAccount(id, account))
    {
        return fail(ERROR_INVALID_HANDLE);
    }
    *creation = toFileTime(noteCreation(record, account));
    *exit = toFileTime(exitTime);
    *kernel = toFileTime(account.kernel);
    *user = toFileTime(account.user);
    return TRUE;
}

namespace
{
bool listThreads(SnapshotRecord& record)
{
    DIR* const tasks = opendir("/proc/self/task");
    if (tasks == nullptr)
    {
        return false;
    }
    std::unique_ptr<DIR, int (*)(DIR*)> const owner(tasks, closedir);
    while (dirent const* const entry = readdir(tasks))
    {
        long const id = std::strtol(entry->d_name, nullptr, 10);
        if (id > 0)
        {
            record.ids.push_back(static_cast<DWORD>(id));
        }
    }
    return true;
}

int listModule(dl_phdr_info* info, std::size_t, void* list)
{
    std::uintptr_t first = UINTPTR_MAX;
    std::uintptr_t end = 0;
    for (int i = 0; i < info->dlpi_phnum; ++i)
    {
        auto const& segment = info->dlpi_phdr[i];
        if (segment.p_type == PT_LOAD)
        {
            first = std::min(first, info->dlpi_addr + segment.p_vaddr);
            end = std::max(end, info->dlpi_addr + segment.p_vaddr + segment.p_memsz);
        }
    }
    if (end <= first)
    {
        return 0;
    }
    DebugHelp::SModuleEntry entry{}; // all zero: what is copied there ends by itself
    entry.size = sizeof entry;
    entry.processId = GetCurrentProcessId();
    entry.base = reinterpret_cast<BYTE*>(first);
    entry.imageSize = static_cast<DWORD>(end - first);
    // The program itself comes without a name.
    bool const isProgram = info->dlpi_name == nullptr || *info->dlpi_name == '\0';
    if (!isProgram || GetModuleFileNameA(nullptr, entry.path, sizeof entry.path) == 0)
    {
        std::string_view(isProgram ? "program" : info->dlpi_name).copy(entry.path, sizeof entry.path - 1);
    }
    char const* const slash = std::strrchr(entry.path, '/');
    std::string_view(slash != nullptr ? slash + 1 : entry.path).copy(entry.name, sizeof entry.name - 1);
    static_cast<std::vector<DebugHelp::SModuleEntry>*>(list)->push_back(entry);
    return 0;
}
} // namespace

HANDLE CreateToolhelp32Snapshot(DWORD flags, DWORD) noexcept
{
    if (flags != TH32CS_SNAPTHREAD && flags != TH32CS_SNAPMODULE)
    {
        SetLastError(ERROR_NOT_SUPPORTED);
        return INVALID_HANDLE_VALUE;
    }
    try
    {
        auto record = std::make_unique<SnapshotRecord>();
        if (flags == TH32CS_SNAPMODULE)
        {
            dl_iterate_phdr(listModule, &record->modules);
        }
        else if (!listThreads(*record))
        {
            SetLastError(ERROR_NOT_ENOUGH_MEMORY);
            return INVALID_HANDLE_VALUE;
        }
        NoSuspend const guard;
        KernelObject* const object = createObject(Kind::Passive, 0);
        if (object != nullptr)
        {
            object->snapshot = record.release();
            HANDLE const handle = openHandle(*object);
            return handle != nullptr ? handle : INVALID_HANDLE_VALUE;
        }
    }
    catch (std::bad_alloc const&)
    {
        // Told below.
    }
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return INVALID_HANDLE_VALUE;
}

namespace
{
// Takes the next entry of a snapshot whose list is `list`; `fill` puts it into the caller's structure.
template <class List, class Fill>
BOOL readSnapshot(HANDLE snapshot, bool isFirst, List SnapshotRecord::*list, Fill fill) noexcept
{
    NoSuspend const guard;
    ObjectRef const ref = findObject(snapshot);
    if (!ref)
    {
        return fail(ERROR_INVALID_HANDLE);
    }
    Locked held(ref);
    // A snapshot of the other kind has nothing in this list; its own is never empty.
    if (!held.isHeld() || Word::kind(held.word) != Kind::Passive || held.object().snapshot == nullptr ||
        (held.object().snapshot->*list).empty())
    {
        return fail(ERROR_INVALID_HANDLE);
    }
    SnapshotRecord& record = *held.object().snapshot;
    if (isFirst)
    {
        record.position = 0;
    }
    if (record.position == (record.*list).size())
    {
        return fail(ERROR_NO_MORE_FILES);
    }
    fill((record.*list)[record.position++]);
    return TRUE;
}

BOOL readThread(HANDLE snapshot, THREADENTRY32* entry, bool isFirst) noexcept
{
    if (entry == nullptr || entry->dwSize < sizeof(THREADENTRY32))
    {
        return fail(ERROR_INVALID_PARAMETER);
    }
    auto const fill = [entry](DWORD id)
    {
        *entry = {};
        entry->dwSize = sizeof(THREADENTRY32);
        entry->th32ThreadID = id;
        entry->th32OwnerProcessID = GetCurrentProcessId();
        entry->tpBasePri = 8;
    };
    return readSnapshot(snapshot, isFirst, &SnapshotRecord::ids, fill);
}

BOOL readModule(HANDLE snapshot, DebugHelp::SModuleEntry* entry, bool isFirst) noexcept
{
    if (entry == nullptr || entry->size < sizeof(DebugHelp::SModuleEntry))
    {
        return fail(ERROR_INVALID_PARAMETER);
    }
    auto const fill = [entry](DebugHelp::SModuleEntry const& module) { *entry = module; };
    return readSnapshot(snapshot, isFirst, &SnapshotRecord::modules, fill);
}
} // namespace

BOOL posix::firstModule(HANDLE snapshot, void* entry) noexcept
{
    return readModule(snapshot, static_cast<DebugHelp::SModuleEntry*>(entry), true);
}

BOOL posix::nextModule(HANDLE snapshot, void* entry) noexcept
{
    return readModule(snapshot, static_cast<DebugHelp::SModuleEntry*>(entry), false);
}

BOOL Thread32First(HANDLE snapshot, THREADENTRY32* entry) noexcept
{
    return readThread(snapshot, entry, true);
}

BOOL Thread32Next(HANDLE snapshot, THREADENTRY32* entry) noexcept
{
    return readThread(snapshot, entry, false);
}

void GetSystemInfo(SYSTEM_INFO* information) noexcept
{
    constexpr WORD c_ArchitectureX64 = 9;
    constexpr DWORD c_TypeX64 = 8664;
    *information = {};
    information->wProcessorArchitecture = c_ArchitectureX64;
    information->dwPageSize = static_cast<DWORD>(sysconf(_SC_PAGESIZE));
    information->dwActiveProcessorMask = facts().online;
    information->dwNumberOfProcessors = facts().processorCount;
    information->dwProcessorType = c_TypeX64;
    information->dwAllocationGranularity = information->dwPageSize;
}

void GetNativeSystemInfo(SYSTEM_INFO* information) noexcept
{
    GetSystemInfo(information);
}

BOOL IsWow64Process(HANDLE process, BOOL* isWow64) noexcept
{
    if (process != GetCurrentProcess())
    {
        return fail(ERROR_INVALID_HANDLE);
    }
    if (isWow64 == nullptr)
    {
        return fail(ERROR_NOACCESS);
    }
    *isWow64 = FALSE;
    return TRUE;
}

void Sleep(DWORD milliseconds) noexcept
{
    if (milliseconds == 0)
    {
        sched_yield();
        return;
    }
    timespec const deadline = deadlineIn(milliseconds);
    do
    {
        while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &deadline, nullptr) == EINTR)
        {
        }
    } while (milliseconds == INFINITE);
}

BOOL SwitchToThread() noexcept
{
    sched_yield();
    return TRUE;
}
