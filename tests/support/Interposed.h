#ifndef TESTS_SUPPORT_INTERPOSED_H
#define TESTS_SUPPORT_INTERPOSED_H

#include <dlfcn.h>
#include <stdexcept>

/** The function of a shared library that this program defines in its place, under the same name. */
template <typename Function>
Function* interposed(Function* ours)
{
    Dl_info symbol{};
    void* const original =
        dladdr(reinterpret_cast<void*>(ours), &symbol) != 0 && symbol.dli_sname != nullptr
            ? dlsym(RTLD_NEXT, symbol.dli_sname)
            : nullptr;
    if (original == nullptr)
        throw std::logic_error("no library has a function that this program defines");
    return reinterpret_cast<Function*>(original);
}

#endif
