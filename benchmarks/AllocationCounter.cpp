#include "AllocationCounter.h"

#include <atomic>
#include <malloc.h>

namespace {

std::atomic<std::size_t> allocations{0};
std::atomic<std::size_t> bytes{0};
std::atomic<std::size_t> bytesInUse{0};

void* taken(void* memory, std::size_t size)
{
    allocations.fetch_add(1, std::memory_order_relaxed);
    bytes.fetch_add(size, std::memory_order_relaxed);
    bytesInUse.fetch_add(malloc_usable_size(memory), std::memory_order_relaxed);
    return memory;
}

void* givenBack(void* memory)
{
    bytesInUse.fetch_sub(malloc_usable_size(memory), std::memory_order_relaxed);
    return memory;
}

} // namespace

Allocations allocationsSoFar()
{
    return {allocations, bytes, bytesInUse};
}

extern "C" {
// The C library's own names. NOLINTBEGIN(bugprone-reserved-identifier)
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* memory, std::size_t size);
void __libc_free(void* memory);
// NOLINTEND(bugprone-reserved-identifier)

void* malloc(std::size_t size)
{
    return taken(__libc_malloc(size), size);
}

void* calloc(std::size_t number, std::size_t size)
{
    return taken(__libc_calloc(number, size), number * size);
}

void* realloc(void* memory, std::size_t size)
{
    return taken(__libc_realloc(givenBack(memory), size), size);
}

void free(void* memory)
{
    __libc_free(givenBack(memory));
}
}
