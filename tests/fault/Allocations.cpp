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

void* operator new(std::size_t size)
{
    if (size >= failAtLeast) {
        failAtLeast = NEVER;
        throw std::bad_alloc();
    }
    record(size);
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
