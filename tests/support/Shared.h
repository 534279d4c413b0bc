#ifndef TESTS_SUPPORT_SHARED_H
#define TESTS_SUPPORT_SHARED_H

#include <cerrno>
#include <new>
#include <sys/mman.h>
#include <system_error>

/** A plain value that this process and the ones that it forks later have in common. */
template <typename Value>
class Shared
{
public:
    Shared()
    {
        memory =
            mmap(nullptr, sizeof(Value), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
        if (memory == MAP_FAILED)
            throw std::system_error(errno, std::generic_category(), "mmap");
        value = new (memory) Value();
    }

    ~Shared() { munmap(memory, sizeof(Value)); }
    Shared(const Shared&) = delete;
    Shared& operator=(const Shared&) = delete;

    Value& operator*() const { return *value; }

private:
    void* memory;
    Value* value;
};

#endif
