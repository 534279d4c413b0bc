#include "Allocations.h"

#include <cstdlib>
#include <map>
#include <new>
#include <utility>

namespace {

constexpr std::size_t NEVER = static_cast<std::size_t>(-1);

thread_local std::size_t failAtLeast = NEVER;
thread_local std::vector<std::size_t>* recording = nullptr;
thread_local bool isInside = false; // the hooks allocate, too
thread_local std::size_t allocated = 0;
thread_local std::size_t failAtNumber = NEVER;
thread_local bool failsFromThen = false;
thread_local bool hasMetFailure = false;

/** Whether the allocation that is being made must fail. */
bool mustFail()
{
    const std::size_t number = allocated++;
    if (number < failAtNumber || (number > failAtNumber && !failsFromThen))
        return false;
    hasMetFailure = true;
    return true;
}

std::map<const void*, std::function<void()>>& watched()
{
    static std::map<const void*, std::function<void()>> callbacks;
    return callbacks;
}

void record(std::size_t size)
{
    if (recording == nullptr || isInside)
        return;
    isInside = true;
    recording->push_back(size);
    isInside = false;
}

void tell(const void* memory)
{
    if (isInside || memory == nullptr)
        return;
    isInside = true;
    const auto callback = watched().extract(memory);
    if (!callback.empty())
        callback.mapped()();
    isInside = false;
}

// Not inlined: the compiler would see free() beside new, and warn of a mismatch.
[[gnu::noinline]] void release(void* memory)
{
    tell(memory);
    std::free(memory);
}

} // namespace

#ifdef __SANITIZE_ADDRESS__
constexpr bool HAS_OWN_MALLOC = false;
#else
constexpr bool HAS_OWN_MALLOC = true;

extern "C" {
// The C library's own names. NOLINTBEGIN(bugprone-reserved-identifier)
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* memory, std::size_t size);
// NOLINTEND(bugprone-reserved-identifier)

void* malloc(std::size_t size)
{
    return mustFail() ? nullptr : __libc_malloc(size);
}

void* calloc(std::size_t count, std::size_t size)
{
    return mustFail() ? nullptr : __libc_calloc(count, size);
}

void* realloc(void* memory, std::size_t size)
{
    return mustFail() ? nullptr : __libc_realloc(memory, size);
}
}
#endif

void* operator new(std::size_t size)
{
    if (size >= failAtLeast) {
        failAtLeast = NEVER;
        throw std::bad_alloc();
    }
    record(size);
    if (!HAS_OWN_MALLOC && mustFail())
        throw std::bad_alloc();
    void* const memory = std::malloc(size == 0 ? 1 : size);
    if (memory == nullptr)
        throw std::bad_alloc();
    return memory;
}

void operator delete(void* memory) noexcept
{
    release(memory);
}

void operator delete(void* memory, std::size_t /*size*/) noexcept
{
    release(memory);
}

namespace allocations {

void failNext(std::size_t atLeast)
{
    failAtLeast = atLeast;
}

void failNumber(std::size_t number)
{
    failAtNumber = allocated + number;
    failsFromThen = false;
    hasMetFailure = false;
}

void failFromNumber(std::size_t number)
{
    failNumber(number);
    failsFromThen = true;
}

bool hasMetFailedNumber()
{
    return hasMetFailure;
}

void failNone()
{
    failAtNumber = NEVER;
}

std::size_t countDuring(const std::function<void()>& action)
{
    const std::size_t before = allocated;
    action();
    return allocated - before;
}

bool hasFailed()
{
    return failAtLeast == NEVER;
}

void onDelete(const void* memory, std::function<void()> callback)
{
    watched()[memory] = std::move(callback);
}

std::vector<std::size_t> sizesDuring(const std::function<void()>& action)
{
    std::vector<std::size_t> sizes;
    recording = &sizes;
    action();
    recording = nullptr;
    return sizes;
}

} // namespace allocations
