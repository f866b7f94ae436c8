#ifndef ALLOCATIONCOUNTER_H
#define ALLOCATIONCOUNTER_H

/**
 * Counts what the calling thread takes from the heap while the object lives, whoever asks for it:
 * the C and C++ functions of the whole program are watched. One at a time for each thread.
 */
class AllocationCounter
{
public:
    AllocationCounter();
    ~AllocationCounter();
    AllocationCounter(AllocationCounter const&) = delete;
    AllocationCounter& operator=(AllocationCounter const&) = delete;

    int count() const;
};

#endif
