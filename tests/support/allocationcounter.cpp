#include "allocationcounter.h"

#include <cerrno>
#include <cstddef>

namespace {

thread_local bool counting = false;
thread_local int allocations = 0;

void countAllocation()
{
    if (counting)
        ++allocations;
}

} // namespace

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)

// Not every distribution has the header, sanitizer/allocator_interface.h.
extern "C" int __sanitizer_install_malloc_and_free_hooks(
    void (*allocated)(void const volatile*, size_t), void (*freed)(void const volatile*));

namespace {

// A sanitizer has a heap of its own, and a way to look at it.
[[maybe_unused]] int const hooks = __sanitizer_install_malloc_and_free_hooks(
    [](void const volatile*, size_t) { countAllocation(); }, [](void const volatile*) {});

} // namespace

#else

#define IN_PLACE_OF_LIBC extern "C" __attribute__((visibility("default")))

extern "C" {
void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* memory, size_t size);
void* __libc_memalign(size_t alignment, size_t size);
}

IN_PLACE_OF_LIBC void* malloc(size_t size)
{
    countAllocation();
    return __libc_malloc(size);
}

IN_PLACE_OF_LIBC void* calloc(size_t count, size_t size)
{
    countAllocation();
    return __libc_calloc(count, size);
}

IN_PLACE_OF_LIBC void* realloc(void* memory, size_t size)
{
    countAllocation();
    return __libc_realloc(memory, size);
}

IN_PLACE_OF_LIBC int posix_memalign(void** memory, size_t alignment, size_t size)
{
    countAllocation();
    *memory = __libc_memalign(alignment, size);
    return *memory ? 0 : ENOMEM;
}

IN_PLACE_OF_LIBC void* aligned_alloc(size_t alignment, size_t size)
{
    countAllocation();
    return __libc_memalign(alignment, size);
}

#endif

AllocationCounter::AllocationCounter()
{
    allocations = 0;
    counting = true;
}

AllocationCounter::~AllocationCounter()
{
    counting = false;
}

int AllocationCounter::count() const
{
    return allocations;
}
