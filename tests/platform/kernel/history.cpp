#include "history.h"

#include <algorithm>
#include <cstring>
#include <unordered_set>

namespace kerneltest
{
namespace
{
constexpr unsigned char c_Nobody = 0xFF;
constexpr unsigned char c_NoPulse = 0xFF;
constexpr std::size_t c_MostSteps = 3'000'000;

// The objects at one moment. Plain bytes without gaps, so that it can be hashed and compared as such.
struct SState
{
    std::array<unsigned char, c_MostObjects> value{}; // set; count; how often a mutex is owned
    std::array<unsigned char, c_MostObjects> owner{};
    unsigned char abandoned = 0;      // a bit each
    unsigned char pulsed = c_NoPulse; // the event that a pulse has set and not yet reset
    unsigned char pulse = 0;          // the call that does it
    std::array<unsigned char, 5> unused{};
};

static_assert(sizeof(SState) == 24);

class CSearch
{
public:
    CSearch(std::vector<SObject> const& objects, std::vector<SCall> const& calls) : m_objects(objects), m_calls(calls)
    {
    }

    EVerdict Run()
    {
        SState state;
        state.owner.fill(c_Nobody);
        for (std::size_t n = 0; n < m_objects.size(); ++n)
        {
            state.value[n] = static_cast<unsigned char>(m_objects[n].initial);
        }
        const unsigned long long all = m_calls.size() == 64 ? ~0ULL : (1ULL << m_calls.size()) - 1;
        const bool isFound = search(all, state);
        return isFound ? eExplained : m_isGivenUp ? eUndecided : eUnexplained;
    }

private:
    struct SKey
    {
        unsigned long long open;
        SState state;

        bool operator==(SKey const& other) const
        {
            return std::memcmp(this, &other, sizeof *this) == 0;
        }
    };

    static_assert(sizeof(SKey) == 32);

    struct SHash
    {
        std::size_t operator()(SKey const& key) const
        {
            unsigned long long words[4];
            std::memcpy(words, &key, sizeof words);
            unsigned long long hash = 0x9E3779B97F4A7C15ULL;
            for (const unsigned long long word : words)
            {
                hash = (hash ^ word) * 0xFF51AFD7ED558CCDULL;
                hash ^= hash >> 29;
            }
            return hash;
        }
    };

    // Whether the calls that are still open can follow from here. A call may come next if none of the open ones ended
    // before it began.
    bool search(unsigned long long open, SState const& state)
    {
        if (open == 0)
        {
            return true;
        }
        if (m_seen.size() >= c_MostSteps)
        {
            m_isGivenUp = true;
            return false;
        }
        if (!m_seen.insert(SKey{open, state}).second)
        {
            return false;
        }
        unsigned long long firstEnd = ~0ULL;
        for (std::size_t n = 0; n < m_calls.size(); ++n)
        {
            if ((open >> n & 1) != 0)
            {
                firstEnd = std::min(firstEnd, m_calls[n].end);
            }
        }
        for (std::size_t n = 0; n < m_calls.size(); ++n)
        {
            if ((open >> n & 1) == 0 || m_calls[n].begin > firstEnd)
            {
                continue;
            }
            SState next = state;
            if (state.pulsed != c_NoPulse && isPartOfPulse(m_calls[n], next) && search(open & ~(1ULL << n), next))
            {
                return true;
            }
            next = state;
            endPulse(next);
            if (apply(m_calls[n], next) && search(open & ~(1ULL << n), next))
            {
                return true;
            }
        }
        return false;
    }

    static void endPulse(SState& state)
    {
        if (state.pulsed != c_NoPulse)
        {
            state.value[state.pulsed] = 0;
            forgetPulse(state);
        }
    }

    static void forgetPulse(SState& state)
    {
        state.pulsed = c_NoPulse;
        state.pulse = 0;
    }

    // A wait that the pulsed event releases while it is set: one that began before the pulse was over.
    bool isPartOfPulse(SCall const& call, SState& state) const
    {
        const unsigned char pulsed = state.pulsed;
        const auto end = call.objects.begin() + call.count;
        if ((call.call != eWaitAny && call.call != eWaitAll) || call.timeoutMs == 0 || call.result == WAIT_TIMEOUT ||
            call.begin > m_calls[state.pulse].end || std::find(call.objects.begin(), end, pulsed) == end ||
            !apply(call, state))
        {
            return false;
        }
        if (state.value[pulsed] == 0)
        {
            forgetPulse(state);
        }
        return true;
    }

    bool isSignalled(SState const& state, unsigned char object, unsigned char thread) const
    {
        return m_objects[object].kind == eMutex ? state.owner[object] == c_Nobody || state.owner[object] == thread
                                                : state.value[object] != 0;
    }

    // Takes a signalled object; whether that was an abandoned mutex.
    bool take(SState& state, unsigned char object, unsigned char thread) const
    {
        switch (m_objects[object].kind)
        {
        case eAutoEvent:
            state.value[object] = 0;
            return false;
        case eManualEvent:
            return false;
        case eSemaphore:
            --state.value[object];
            return false;
        case eMutex:
            break;
        }
        const unsigned char bit = static_cast<unsigned char>(1u << object);
        const bool isAbandoned = (state.abandoned & bit) != 0;
        state.abandoned = static_cast<unsigned char>(state.abandoned & ~bit);
        state.owner[object] = thread;
        ++state.value[object];
        return isAbandoned;
    }

    // Whether the call gives its result in this state, and the state afterwards.
    bool apply(SCall const& call, SState& state) const
    {
        const unsigned char object = call.objects[0];
        switch (call.call)
        {
        case eSet:
            state.value[object] = 1;
            return call.result != 0;
        case eReset:
            state.value[object] = 0;
            return call.result != 0;
        case ePulse:
            state.value[object] = 1;
            state.pulsed = object;
            state.pulse = static_cast<unsigned char>(&call - m_calls.data());
            return call.result != 0;
        case eReleaseMutex:
            return releaseMutex(call, state);
        case eReleaseSemaphore:
            return releaseSemaphore(call, state);
        case eWaitAny:
            return waitAny(call, state);
        case eWaitAll:
            return waitAll(call, state);
        case eThreadEnd:
            if (state.owner[object] != call.thread)
            {
                return false;
            }
            state.owner[object] = c_Nobody;
            state.value[object] = 0;
            state.abandoned = static_cast<unsigned char>(state.abandoned | 1u << object);
            return true;
        }
        return false;
    }

    bool releaseMutex(SCall const& call, SState& state) const
    {
        const unsigned char object = call.objects[0];
        if (state.owner[object] != call.thread)
        {
            return call.result == 0 && call.error == 288;
        }
        if (--state.value[object] == 0)
        {
            state.owner[object] = c_Nobody;
        }
        return call.result != 0;
    }

    bool releaseSemaphore(SCall const& call, SState& state) const
    {
        const unsigned char object = call.objects[0];
        const int before = state.value[object];
        if (before + call.amount > m_objects[object].maximum)
        {
            return call.result == 0 && call.error == 298;
        }
        state.value[object] = static_cast<unsigned char>(before + call.amount);
        return call.result != 0 && call.previous == before;
    }

    bool waitAny(SCall const& call, SState& state) const
    {
        for (unsigned char n = 0; n < call.count; ++n)
        {
            if (isSignalled(state, call.objects[n], call.thread))
            {
                const bool isAbandoned = take(state, call.objects[n], call.thread);
                return call.result == (isAbandoned ? WAIT_ABANDONED_0 : WAIT_OBJECT_0) + n;
            }
        }
        return call.result == WAIT_TIMEOUT;
    }

    bool waitAll(SCall const& call, SState& state) const
    {
        for (unsigned char n = 0; n < call.count; ++n)
        {
            if (!isSignalled(state, call.objects[n], call.thread))
            {
                return call.result == WAIT_TIMEOUT;
            }
        }
        bool isAbandoned = false;
        for (unsigned char n = 0; n < call.count; ++n)
        {
            isAbandoned = take(state, call.objects[n], call.thread) || isAbandoned;
        }
        return isAbandoned ? call.result >= WAIT_ABANDONED_0 && call.result < WAIT_ABANDONED_0 + call.count
                           : call.result == WAIT_OBJECT_0;
    }

    std::vector<SObject> const& m_objects;
    std::vector<SCall> const& m_calls;
    std::unordered_set<SKey, SHash> m_seen;
    bool m_isGivenUp = false;
};

constexpr char const* c_Kinds[] = {"auto event", "manual event", "mutex", "semaphore"};
constexpr char const* c_Calls[] = {"set",      "reset",    "pulse",     "release mutex", "release semaphore",
                                   "wait any", "wait all", "thread end"};
} // namespace

EVerdict explain(std::vector<SObject> const& objects, std::vector<SCall> const& calls)
{
    if (objects.size() > c_MostObjects || calls.size() > c_MostCalls)
    {
        return eUndecided;
    }
    return CSearch(objects, calls).Run();
}

void print(std::ostream& out, std::vector<SObject> const& objects, std::vector<SCall> calls)
{
    for (std::size_t n = 0; n < objects.size(); ++n)
    {
        out << "object " << n << ": " << c_Kinds[objects[n].kind] << ", at first " << objects[n].initial << " of "
            << objects[n].maximum << '\n';
    }
    std::sort(calls.begin(), calls.end(),
              [](SCall const& left, SCall const& right) { return left.begin < right.begin; });
    for (SCall const& call : calls)
    {
        out << call.begin << ".." << call.end << " thread " << static_cast<int>(call.thread) << ": "
            << c_Calls[call.call];
        for (unsigned char n = 0; n < call.count; ++n)
        {
            out << ' ' << static_cast<int>(call.objects[n]);
        }
        if (call.call == eWaitAny || call.call == eWaitAll)
        {
            out << " for " << call.timeoutMs << " ms";
        }
        if (call.call == eReleaseSemaphore)
        {
            out << " by " << call.amount << " from " << call.previous;
        }
        out << " -> " << call.result << ", error " << call.error << '\n';
    }
}
} // namespace kerneltest
