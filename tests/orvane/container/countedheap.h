// Sees what a test program asks of the heap. The program is linked with --wrap=malloc.

#ifndef ORVANE_TESTS_ORVANE_CONTAINER_COUNTEDHEAP_H
#define ORVANE_TESTS_ORVANE_CONTAINER_COUNTEDHEAP_H

#include <cstddef>
#include <vector>

/// Watches the heap as long as it lives; one at a time, for one thread.
class CHeapWatch
{
public:
    /// Requests of `refusedFrom` bytes and more are refused, after the first `granted` of them; 0 refuses none. Smaller
    /// ones go through: a refusal is reported with their help.
    explicit CHeapWatch(std::size_t refusedFrom = 0, unsigned int granted = 0);

    CHeapWatch(CHeapWatch const&) = delete;
    CHeapWatch& operator=(CHeapWatch const&) = delete;
    ~CHeapWatch();

    /// What was asked for since the beginning, by `malloc` and `new`, refused requests included.
    std::size_t GetRequestCount() const;

    /// The first hundred sizes, oldest first.
    std::vector<std::size_t> GetSizes() const;
};

#endif // ORVANE_TESTS_ORVANE_CONTAINER_COUNTEDHEAP_H
