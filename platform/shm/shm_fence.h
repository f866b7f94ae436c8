#ifndef SHM_FENCE_H
#define SHM_FENCE_H

#include <atomic>

namespace shm {

// The thread sanitizer doesn't model fences and GCC warns of each. The ones here order memory that
// is shared between processes, which the sanitizer doesn't see anyway.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wtsan"
#endif

/** Orders everything before it against everything after it. */
inline void fullFence()
{
    std::atomic_thread_fence(std::memory_order_seq_cst);
}

/** Orders the loads before it against everything after it. */
inline void loadFence()
{
    std::atomic_thread_fence(std::memory_order_acquire);
}

#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic pop
#endif

} // namespace shm

#endif
