#ifndef TESTS_FAULT_ALLOCATIONS_H
#define TESTS_FAULT_ALLOCATIONS_H

#include <cstddef>
#include <functional>
#include <vector>

/** This program's operator new and delete can fail, and tell what they do, on the calling thread.
 */
namespace allocations {

/** Lets one allocation fail: the next one that is at least as large. */
void failNext(std::size_t atLeast = 0);

/** Whether a failure that was asked for has happened. */
bool hasFailed();

/** Calls back when this memory is given back. Pointers to objects, made with new. */
void onDelete(const void* memory, std::function<void()> callback);

/** The sizes of all allocations while the action runs. */
std::vector<std::size_t> sizesDuring(const std::function<void()>& action);

} // namespace allocations

#endif
