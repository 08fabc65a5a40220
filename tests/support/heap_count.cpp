#include "heap_count.h"

#include <atomic>
#include <cstddef>
#include <new>

static std::atomic<uint64_t> s_calls;

uint64_t heap_calls()
{
    return s_calls;
}

bool heap_is_counted()
{
    const uint64_t before = s_calls;
    void* volatile block = ::operator new(1);  // volatile: the pair must not be optimised away
    ::operator delete(block);
    return s_calls > before;
}

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)

// The C library calls these instead of its own, and so does operator new.
extern "C" {
void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* block, size_t size);

void* malloc(size_t size)
{
    s_calls.fetch_add(1, std::memory_order_relaxed);
    return __libc_malloc(size);
}
void* calloc(size_t count, size_t size)
{
    s_calls.fetch_add(1, std::memory_order_relaxed);
    return __libc_calloc(count, size);
}
void* realloc(void* block, size_t size)
{
    s_calls.fetch_add(1, std::memory_order_relaxed);
    return __libc_realloc(block, size);
}
}

#endif
