#ifndef TESTS_FAULT_ALLOCATIONS_H
#define TESTS_FAULT_ALLOCATIONS_H

#include <cstddef>
#include <functional>
#include <vector>

/**
 * This program's operator new can fail, and so can malloc() where no sanitizer has taken its place.
 * Both, and operator delete, tell what they do. All of it on the calling thread only.
 */
namespace allocations {

/** Lets one allocation fail: the next one that is at least as large. */
void failNext(std::size_t atLeast = 0);

/** Lets one allocation fail, of operator new or malloc(): that one of those to come, from 0. */
void failNumber(std::size_t number);

/** The same, and all after it, until failNone() is called. */
void failFromNumber(std::size_t number);
void failNone();

/** Whether there has been an allocation of the number that was to fail. */
bool hasMetFailedNumber();

/** How many allocations there are while the action runs. */
std::size_t countDuring(const std::function<void()>& action);

/** Whether a failure that was asked for has happened. */
bool hasFailed();

/** Calls back when this memory is given back. Pointers to objects, made with new. */
void onDelete(const void* memory, std::function<void()> callback);

/** The sizes of all allocations while the action runs. */
std::vector<std::size_t> sizesDuring(const std::function<void()>& action);

} // namespace allocations

#endif
