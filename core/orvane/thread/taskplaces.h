// The memory of the tasks that the pool makes of functions.

#ifndef ORVANE_THREAD_TASKPLACES_H
#define ORVANE_THREAD_TASKPLACES_H

#include <atomic>
#include <cstddef>

namespace detail
{
/// Gives out places of one size to threads that submit, and takes them back from those that run.
///
/// A task is written on one processor and read on another, so its memory is far away whenever it is used again. From the
/// heap a submitter waits for it twice, for the heap's own notes in it and for the task that it makes there. Here it goes
/// through blocks of its own, place by place, and has the next place brought near while it is busy with the present one.
/// A block goes back to the heap when all its places have been given back, which may be after the end of this object.
/// Threads: any thread may call at any time; threads do not wait for each other.
class CTaskPlaces
{
public:
    /// The bytes that processors pass to each other at a time.
    static constexpr std::size_t c_Line = 64;

    /// What a place has room for, at the alignment of a pointer.
    static constexpr std::size_t c_Room = 120;

    CTaskPlaces() = default;
    CTaskPlaces(CTaskPlaces const&) = delete;
    CTaskPlaces& operator=(CTaskPlaces const&) = delete;
    ~CTaskPlaces();

    /// Raises: std::bad_alloc.
    void* Take();

    /// `place` is what any of these objects gave.
    static void GiveBack(void* place) noexcept;

private:
    struct SBlock;

    static constexpr unsigned int c_Stripes = 32;

    // What a thread goes through; threads are spread over them by their ids.
    struct alignas(c_Line) SStripe
    {
        std::atomic<bool> isInUse = false; // guards what follows
        unsigned int taken = 0;            // places of the block
        SBlock* block = nullptr;
    };

    static void* takeFrom(SStripe& stripe) noexcept;

    SStripe m_stripes[c_Stripes];
};
} // namespace detail

#endif // ORVANE_THREAD_TASKPLACES_H
